// SPDX-License-Identifier: Apache-2.0
#include "base/port.h"
#include "base/seal.h"
#include "base/toml_file.h"

#include <qvb/message.h>
#include <qvb/subject.h>
#include <qvlog/qvlog.h>

#include <map>
#include <new>
#include <string>

/// What was read of the credentials file, and why nothing was.
struct QvbSubject {
  struct Credentials {
    QvbString user;
    QvbString password;  // a QvbString wipes itself
  };
  std::map<std::string, Credentials, std::less<>> domains;
  QvbString problem;
};

namespace {

// One use at a time in a thread; a subject does not leave it.
thread_local QvbSubject* t_subject = nullptr;

QvlogLogger* logger() {
  return qvlogGetLogger("QV.Base");
}

QvbString text(std::string_view view) {
  return {view.data(), static_cast<int32_t>(view.size())};
}

QvbString messageOf(const qvp::SealError& error) {
  return qvb_get_message(__FILE__, __LINE__, nullptr, error.id, error.text.c_str());
}

void load(QvbSubject& subject, const std::string& path, const std::string& document, std::string& problem) {
  const auto keep = [&subject](std::string_view table, std::string_view key, std::string_view value) {
    if (table.empty()) return;
    if (key == "user") subject.domains[std::string(table)].user = text(value);
    if (key == "password") subject.domains[std::string(table)].password = text(value);
  };
  if (!qvp::readToml(document, path, false, keep, problem)) subject.domains.clear();
}

bool decode(const QvbString& stored, QvbString& plain, qvp::SealError& error) {
  const std::string_view view(stored.asCstr(), static_cast<size_t>(stored.length()));
  const bool sealed = view.starts_with(qvp::kSealedMark);
  if (!sealed && !view.starts_with(qvp::kBase64Mark)) {
    plain = stored;
    return true;
  }
  qvp::Secret secret;
  const std::string_view body = view.substr(sealed ? qvp::kSealedMark.size() : qvp::kBase64Mark.size());
  if (sealed ? !qvp::openSealed(body, qvp::sealKeyPath(), secret, error) : !qvp::openBase64(body, secret, error)) return false;
  plain = text(secret.text);
  return true;
}

}  // namespace

QvbSubject* qvbSubjectAccess() {
  qvbSubjectRelease();
  try {
    const std::string path = qvp::credentialsPath();
    if (path.empty()) return nullptr;
    qvp::Secret document;
    std::string problem;
    const qvp::port::Read read = qvp::port::readPrivateFile(path, document.text, problem);
    // No file where one may be is nothing to report; a file that was named and is not there is.
    if (read == qvp::port::Read::Absent && !qvp::port::environment("QVWS_CREDENTIALS_FILE")) return nullptr;
    t_subject = new QvbSubject;
    if (read == qvp::port::Read::Done) load(*t_subject, path, document.text, problem);
    if (!problem.empty()) {
      t_subject->problem = qvb_get_message(__FILE__, __LINE__, nullptr, 2104, problem.c_str());
      logger()->log(qvlogError, __FILE__, __LINE__, t_subject->problem.asCstr());
    }
    return t_subject;
  } catch (const std::bad_alloc&) {
    qvbSubjectRelease();
    logger()->logMessage(qvlogError, __FILE__, __LINE__, 29, "(Credentials)");
    return nullptr;
  }
}

bool qvbSubjectCredentials(const QvbString& domain, QvbString& user, QvbString& password, QvbString* further) {
  user.setNull();
  password.setNull();
  if (further != nullptr) further->setNull();
  if (t_subject == nullptr) return false;
  try {
    const auto found = t_subject->domains.find(std::string_view(domain.asCstr(), static_cast<size_t>(domain.length())));
    if (found == t_subject->domains.end() || found->second.user.length() == 0) {
      if (further != nullptr) *further = t_subject->problem;
      return false;
    }
    user = found->second.user;
    password = found->second.password;
    return true;
  } catch (const std::bad_alloc&) {
    user.setNull();
    return false;
  }
}

bool qvbSubjectDecodePW(const QvbString& password, QvbString& decoded, QvbString* err) {
  qvp::SealError error{2101, "out of memory"};
  try {
    QvbString plain;
    if (decode(password, plain, error)) {
      decoded = static_cast<QvbString&&>(plain);
      return true;
    }
  } catch (const std::bad_alloc&) {
    error = {2101, "out of memory"};
  }
  if (err != nullptr) *err = messageOf(error);
  return false;
}

void qvbSubjectRelease() {
  delete t_subject;
  t_subject = nullptr;
}

QvbString qvbDecryptString(const QvbString& text) {
  const std::string_view view(text.asCstr(), static_cast<size_t>(text.length()));
  if (!view.starts_with(qvp::kSealedMark)) return text;
  QvbString plain;
  QvbString error;
  if (!qvbSubjectDecodePW(text, plain, &error)) logger()->log(qvlogError, __FILE__, __LINE__, error.asCstr());
  return plain;
}
