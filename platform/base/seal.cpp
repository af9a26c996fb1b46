// SPDX-License-Identifier: Apache-2.0
#include "base/seal.h"

#include "base/port.h"

#include <sodium.h>

#include <array>

namespace qvp {
namespace {

constexpr int kVariant = sodium_base64_VARIANT_ORIGINAL;
constexpr const char* kBlanks = " \t\r\n";

struct Key {
  std::array<unsigned char, crypto_secretbox_KEYBYTES> bytes{};
  Key() = default;
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;
  ~Key() { wipe(bytes.data(), bytes.size()); }
};

bool fail(SealError& error, int id, std::string text) {
  error = {id, std::move(text)};
  return false;
}

bool decode(std::string_view text, Secret& bytes) {
  bytes.text.resize(text.size());
  size_t size = 0;
  const char* end = nullptr;
  auto* out = reinterpret_cast<unsigned char*>(bytes.text.data());
  const bool decoded = sodium_base642bin(out, bytes.text.size(), text.data(), text.size(), kBlanks, &size, &end, kVariant) == 0;
  if (!decoded || end != text.data() + text.size()) return false;
  wipe(bytes.text.data() + size, bytes.text.size() - size);
  bytes.text.resize(size);
  return true;
}

std::string encode(const unsigned char* bytes, size_t size) {
  std::string text(sodium_base64_ENCODED_LEN(size, kVariant), '\0');
  sodium_bin2base64(text.data(), text.size(), bytes, size, kVariant);
  text.pop_back();  // its NUL
  return text;
}

bool readKey(const std::string& path, Key& key, SealError& error) {
  if (sodium_init() < 0) return fail(error, 2102, "libsodium cannot be initialised");
  if (path.empty()) return fail(error, 2102, "there is no folder for it; name the credentials file in QVWS_CREDENTIALS_FILE");
  Secret content;
  std::string problem;
  if (port::readPrivateFile(path, content.text, problem) != port::Read::Done) return fail(error, 2102, problem);
  Secret bytes;
  if (!decode(content.text, bytes) || bytes.text.size() != key.bytes.size()) return fail(error, 2102, path + ": not a key that qvseal made");
  bytes.text.copy(reinterpret_cast<char*>(key.bytes.data()), key.bytes.size());
  return true;
}

bool makeKey(const std::string& path, SealError& error) {
  Key key;
  randombytes_buf(key.bytes.data(), key.bytes.size());
  Secret text;
  text.text = encode(key.bytes.data(), key.bytes.size()) + "\n";
  std::string problem;
  return port::createPrivateFile(path, text.text, problem) || fail(error, 2102, problem);
}

bool checkPlain(const Secret& plain, SealError& error) {
  // A NUL would end the password early wherever it is used.
  return plain.text.find('\0') == std::string::npos || fail(error, 2101, "it holds a NUL byte");
}

}  // namespace

std::string credentialsPath() {
  if (const auto named = port::environment("QVWS_CREDENTIALS_FILE")) return *named;
  return port::userConfigPath("qvws/credentials.toml").value_or("");
}

std::string sealKeyPath() {
  const std::string path = credentialsPath();
  if (path.empty()) return {};
  const size_t slash = path.find_last_of('/');
  return slash == std::string::npos ? "seal.key" : path.substr(0, slash + 1) + "seal.key";
}

bool openSealed(std::string_view sealed, const std::string& keyPath, Secret& plain, SealError& error) {
  Key key;
  if (!readKey(keyPath, key, error)) return false;
  Secret box;
  if (!decode(sealed, box) || box.text.size() < crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES)
    return fail(error, 2101, "what follows {sealed} is damaged");
  const auto* nonce = reinterpret_cast<const unsigned char*>(box.text.data());
  const size_t size = box.text.size() - crypto_secretbox_NONCEBYTES;
  plain.text.assign(size - crypto_secretbox_MACBYTES, '\0');
  auto* out = reinterpret_cast<unsigned char*>(plain.text.data());
  if (crypto_secretbox_open_easy(out, nonce + crypto_secretbox_NONCEBYTES, size, nonce, key.bytes.data()) != 0)
    return fail(error, 2101, "it was sealed with another key than " + keyPath + ", or is damaged");
  return checkPlain(plain, error);
}

bool sealText(std::string_view plain, const std::string& keyPath, std::string& sealed, SealError& error) {
  if (sodium_init() < 0) return fail(error, 2102, "libsodium cannot be initialised");
  Secret unused;
  std::string problem;
  if (!keyPath.empty() && port::readPrivateFile(keyPath, unused.text, problem) == port::Read::Absent && !makeKey(keyPath, error)) return false;
  Key key;
  if (!readKey(keyPath, key, error)) return false;
  std::string box(crypto_secretbox_NONCEBYTES + crypto_secretbox_MACBYTES + plain.size(), '\0');
  auto* nonce = reinterpret_cast<unsigned char*>(box.data());
  randombytes_buf(nonce, crypto_secretbox_NONCEBYTES);
  const auto* text = reinterpret_cast<const unsigned char*>(plain.data());
  if (crypto_secretbox_easy(nonce + crypto_secretbox_NONCEBYTES, text, plain.size(), nonce, key.bytes.data()) != 0)
    return fail(error, 2101, "it is too long to be sealed");
  sealed = std::string(kSealedMark) + encode(nonce, box.size());
  return true;
}

bool openBase64(std::string_view text, Secret& plain, SealError& error) {
  if (!decode(text, plain)) return fail(error, 2101, "what follows {base64} is not base64 text");
  return checkPlain(plain, error);
}

}  // namespace qvp
