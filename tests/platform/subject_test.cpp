// SPDX-License-Identifier: Apache-2.0
#include "test_files.h"

#include <qvb/subject.h>

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class SubjectTest : public testing::Test {
 protected:
  void SetUp() override { setenv("QVWS_CREDENTIALS_FILE", folder_.path("credentials.toml").c_str(), 1); }
  void TearDown() override {
    qvbSubjectRelease();
    unsetenv("QVWS_CREDENTIALS_FILE");
  }

  std::string seal(const std::string& password) const {
    folder_.write("password", password + "\n");
    std::string sealed = outputOf(std::string(QVSEAL) + " < " + folder_.path("password"));
    if (!sealed.empty()) sealed.pop_back();
    return sealed;
  }

  const TestFolder folder_;
  QvbString user_;
  QvbString password_;
  QvbString further_;
};

TEST_F(SubjectTest, CredentialsByDomain) {
  folder_.write("credentials.toml", "[A]\nuser = 'anna'\npassword = 'secret'\n['b c']\nuser = 'bert'\n[empty]\npassword = 'x'\n");
  ASSERT_NE(nullptr, qvbSubjectAccess());
  EXPECT_TRUE(qvbSubjectCredentials("A", user_, password_, nullptr));
  EXPECT_STREQ("anna", user_.asCstr());
  EXPECT_STREQ("secret", password_.asCstr());
  EXPECT_TRUE(qvbSubjectCredentials("b c", user_, password_, &further_));
  EXPECT_TRUE(password_.isNull());
  for (const char* domain : {"a", "", "empty"}) {
    EXPECT_FALSE(qvbSubjectCredentials(domain, user_, password_, &further_)) << domain;
    EXPECT_TRUE(user_.isNull() && password_.isNull());
  }
  qvbSubjectRelease();
  EXPECT_FALSE(qvbSubjectCredentials("A", user_, password_, nullptr));
}

TEST_F(SubjectTest, NoFileIsNoSubject) {
  unsetenv("QVWS_CREDENTIALS_FILE");
  setenv("XDG_CONFIG_HOME", folder_.path("none").c_str(), 1);
  EXPECT_EQ(nullptr, qvbSubjectAccess());
}

TEST_F(SubjectTest, FilesThatCannotBeTrustedAreRefusedWithoutShowingThem) {
  const struct {
    const char* content;
    int mode;
    const char* problem;
  } cases[] = {
      {"[A]\nuser='u'\npassword='s3cret'\n", 0640, "chmod 600"},
      {"[A]\nuser='u'\npassword='s3cret'\n", 0602, "chmod 600"},
      {"[A]\nuser='u'\npassword=s3cret\n", 0600, "line 3"},
  };
  for (const auto& each : cases) {
    folder_.write("credentials.toml", each.content, each.mode);
    testing::internal::CaptureStderr();
    EXPECT_NE(nullptr, qvbSubjectAccess());
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(qvbSubjectCredentials("A", user_, password_, &further_));
    EXPECT_THAT(further_.asCstr(), StartsWith("QVWS-2104: "));
    EXPECT_THAT(log, HasSubstr(each.problem));
    EXPECT_THAT(log, Not(HasSubstr("s3cret")));
  }
}

TEST_F(SubjectTest, StoredFormsOfPasswords) {
  const std::string sealed = seal("p\xc3\xa4ss word");
  ASSERT_THAT(sealed, StartsWith("{sealed}"));
  EXPECT_NE(sealed, seal("p\xc3\xa4ss word"));  // a nonce for each
  const std::pair<std::string, const char*> cases[] = {
      {"plain", "plain"}, {"", ""}, {"{base64}c2VjcmV0", "secret"}, {"{base64}", ""}, {sealed, "p\xc3\xa4ss word"}};
  for (const auto& [stored, plain] : cases) {
    QvbString text(stored.c_str());
    QvbString error("before");
    EXPECT_TRUE(qvbSubjectDecodePW(text, text, &error)) << error.asCstr();
    EXPECT_STREQ(plain, text.asCstr());
    EXPECT_STREQ("before", error.asCstr());
  }
  QvbString null;
  EXPECT_TRUE(qvbSubjectDecodePW(null, null, nullptr));
  EXPECT_TRUE(null.isNull());
  EXPECT_STREQ("p\xc3\xa4ss word", qvbDecryptString(sealed.c_str()).asCstr());
  EXPECT_STREQ("{base64}c2VjcmV0", qvbDecryptString("{base64}c2VjcmV0").asCstr());
}

TEST_F(SubjectTest, WhatCannotBeOpened) {
  const std::string sealed = seal("s3cret");
  std::string damaged = sealed;
  damaged[damaged.size() / 2] = damaged[damaged.size() / 2] == 'A' ? 'B' : 'A';
  const std::string key = folder_.read("seal.key");
  const struct {
    std::string stored;
    std::string key;
    int mode;
    const char* message;
  } cases[] = {
      {damaged, key, 0600, "QVWS-2101"},
      {"{sealed}AAAA", key, 0600, "QVWS-2101"},
      {"{base64}!", key, 0600, "QVWS-2101"},
      {"{base64}YQBi", key, 0600, "QVWS-2101"},
      {sealed, "no key", 0600, "QVWS-2102"},
      {sealed, key, 0644, "QVWS-2102"},
      {sealed, "AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA=", 0600, "QVWS-2101"},
  };
  for (const auto& each : cases) {
    folder_.write("seal.key", each.key, each.mode);
    QvbString decoded("before");
    QvbString error;
    EXPECT_FALSE(qvbSubjectDecodePW(each.stored.c_str(), decoded, &error));
    EXPECT_THAT(error.asCstr(), StartsWith(each.message));
    EXPECT_STREQ("before", decoded.asCstr());
  }
  std::filesystem::remove(folder_.path("seal.key"));
  testing::internal::CaptureStderr();
  EXPECT_TRUE(qvbDecryptString(sealed.c_str()).isNull());
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_THAT(log, HasSubstr("QVWS-2102"));
  EXPECT_THAT(log, Not(HasSubstr(sealed.substr(9))));
}

}  // namespace
