// SPDX-License-Identifier: Apache-2.0
#include "security/username_token.h"

#include "error.h"
#include "xml/characters.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>

namespace qvx {

namespace {

// Those of version 1.0; 1.1.1 keeps them and adds nothing that is used here.
constexpr std::string_view kExtension = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd";
constexpr std::string_view kUtility = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd";
constexpr std::string_view kTokenProfile = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-username-token-profile-1.0";
constexpr std::string_view kBase64 = "http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-soap-message-security-1.0#Base64Binary";

constexpr std::chrono::minutes kLifetime{5};
constexpr std::size_t kNonceSize = 16;

using Time = std::chrono::system_clock::time_point;

// xsd:dateTime in UTC with milliseconds.
std::string text(Time time) {
  const auto sinceEpoch = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
  const auto seconds = static_cast<std::time_t>(sinceEpoch / 1000);
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> date{};
  const std::size_t length = std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::array<char, 8> fraction{};
  std::snprintf(fraction.data(), fraction.size(), ".%03dZ", static_cast<int>(sinceEpoch % 1000));
  return std::string(date.data(), length) + fraction.data();
}

template <std::size_t Size>
std::string base64(const std::array<unsigned char, Size>& bytes) {
  std::array<unsigned char, (Size + 2) / 3 * 4 + 1> encoded{};
  const int length = EVP_EncodeBlock(encoded.data(), bytes.data(), static_cast<int>(Size));
  return {reinterpret_cast<const char*>(encoded.data()), static_cast<std::size_t>(length)};
}

struct FreeDigest {
  void operator()(EVP_MD_CTX* context) const noexcept { EVP_MD_CTX_free(context); }
};

// Fed piece by piece, so that the password is copied nowhere.
std::string passwordDigest(const std::array<unsigned char, kNonceSize>& nonce, std::string_view created, std::string_view password) {
  std::array<unsigned char, 20> digest{};
  const std::unique_ptr<EVP_MD_CTX, FreeDigest> context(EVP_MD_CTX_new());
  if (context == nullptr || EVP_DigestInit_ex(context.get(), EVP_sha1(), nullptr) != 1 ||
      EVP_DigestUpdate(context.get(), nonce.data(), nonce.size()) != 1 || EVP_DigestUpdate(context.get(), created.data(), created.size()) != 1 ||
      EVP_DigestUpdate(context.get(), password.data(), password.size()) != 1 || EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) != 1) {
    throw Error(ErrorCode::Internal, "the digest of the WS-Security password cannot be made: libcrypto offers no SHA-1");
  }
  std::string result = base64(digest);
  OPENSSL_cleanse(digest.data(), digest.size());
  return result;
}

void appendElement(std::string& out, std::string_view name, std::string_view content) {
  out.append("<").append(name).append(">").append(content).append("</").append(name).append(">");
}

void check(std::string_view text, const char* what) {
  if (const std::optional<std::string> problem = unusableInXml(text))
    throw Error(ErrorCode::BadRequest, std::string("the ") + what + " of the WS-Security token cannot be sent: " + *problem);
}

}  // namespace

void UsernameToken::appendTo(std::string& out, std::string_view soapPrefix) const {
  check(user, "user name");
  check(domain, "domain");
  check(password, "password");
  // The longest reference for a character has six bytes. A text that grows leaves copies of the password in memory.
  out.reserve(out.size() + 2048 + 6 * (user.size() + domain.size() + password.size()));
  const Time now = std::chrono::system_clock::now();
  const std::string created = text(now);

  out.append("<wsse:Security xmlns:wsse=\"").append(kExtension).append("\" xmlns:wsu=\"").append(kUtility).append("\"");
  if (mustUnderstand) out.append(" ").append(soapPrefix).append(":mustUnderstand=\"1\"");
  out += "><wsu:Timestamp>";
  appendElement(out, "wsu:Created", created);
  appendElement(out, "wsu:Expires", text(now + kLifetime));
  out += "</wsu:Timestamp><wsse:UsernameToken><wsse:Username>";
  if (!domain.empty()) {
    appendXmlText(out, domain);
    out += '\\';
  }
  appendXmlText(out, user);
  out.append("</wsse:Username><wsse:Password Type=\"").append(kTokenProfile);
  if (!digest) {
    out += "#PasswordText\">";
    appendXmlText(out, password);
    out += "</wsse:Password>";
  } else {
    std::array<unsigned char, kNonceSize> nonce{};
    if (RAND_bytes(nonce.data(), static_cast<int>(nonce.size())) != 1)
      throw Error(ErrorCode::Internal, "the nonce of the WS-Security token cannot be made: libcrypto has no random numbers");
    std::string value = passwordDigest(nonce, created, password);
    out.append("#PasswordDigest\">").append(value).append("</wsse:Password>");
    OPENSSL_cleanse(value.data(), value.size());
    out.append("<wsse:Nonce EncodingType=\"").append(kBase64).append("\">").append(base64(nonce)).append("</wsse:Nonce>");
    appendElement(out, "wsu:Created", created);
  }
  out += "</wsse:UsernameToken></wsse:Security>";
}

}  // namespace qvx
