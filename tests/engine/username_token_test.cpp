// SPDX-License-Identifier: Apache-2.0
#include "security/username_token.h"

#include "error.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <array>
#include <chrono>
#include <ctime>
#include <regex>
#include <set>
#include <string>

namespace qvx {
namespace {

constexpr const char* kTime = "(\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d)\\.(\\d{3})Z";

std::string made(const UsernameToken& token) {
  std::string out = "before";
  token.appendTo(out, "s");
  EXPECT_EQ(out.substr(0, 6), "before");
  return out.substr(6);
}

std::string between(const std::string& text, const std::string& open, const std::string& close) {
  const std::size_t at = text.find(open);
  if (at == std::string::npos) return "not found: " + open;
  const std::size_t from = at + open.size();
  return text.substr(from, text.find(close, from) - from);
}

long long milliseconds(const std::string& time) {
  std::smatch parts;
  if (!std::regex_match(time, parts, std::regex(kTime))) return -1;
  std::tm date{};
  if (strptime(parts[1].str().c_str(), "%Y-%m-%dT%H:%M:%S", &date) == nullptr) return -1;
  return static_cast<long long>(timegm(&date)) * 1000 + std::stoll(parts[2]);
}

TEST(UsernameToken, makesAFreshDigestEachTime) {
  UsernameToken token;
  token.user = "anna";
  token.password = "geh&eim\u00FC";
  token.digest = true;
  std::set<std::string> nonces;
  for (int i = 0; i < 20; ++i) {
    const std::string text = made(token);
    EXPECT_EQ(text.find("mustUnderstand"), std::string::npos);
    EXPECT_EQ(text.find("eim\u00FC"), std::string::npos);
    EXPECT_NE(text.find("<wsse:Username>anna</wsse:Username>"), std::string::npos);
    const std::string nonce = between(text, "wss-soap-message-security-1.0#Base64Binary\">", "</wsse:Nonce>");
    const std::string created = between(text, "</wsse:Nonce><wsu:Created>", "</wsu:Created></wsse:UsernameToken>");
    EXPECT_GT(milliseconds(created), 0) << created;
    EXPECT_TRUE(nonces.insert(nonce).second) << nonce;
    std::array<unsigned char, 64> decoded{};
    ASSERT_EQ(nonce.size(), 24U);
    ASSERT_EQ(EVP_DecodeBlock(decoded.data(), reinterpret_cast<const unsigned char*>(nonce.data()), 24), 18);
    const std::string all = std::string(decoded.begin(), decoded.begin() + 16) + created + token.password;
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    ASSERT_EQ(EVP_Digest(all.data(), all.size(), digest.data(), nullptr, EVP_sha1(), nullptr), 1);
    std::array<unsigned char, 64> encoded{};
    EVP_EncodeBlock(encoded.data(), digest.data(), 20);
    EXPECT_EQ(between(text, "#PasswordDigest\">", "</wsse:Password>"), reinterpret_cast<const char*>(encoded.data()));
  }
}

TEST(UsernameToken, refusesWhatXmlCannotHoldAndKeepsThePasswordSecret) {
  for (std::string UsernameToken::*const member : {&UsernameToken::user, &UsernameToken::domain, &UsernameToken::password}) {
    UsernameToken token;
    token.*member = "hush\x01";
    std::string out;
    try {
      token.appendTo(out, "s");
      ADD_FAILURE() << "it was taken";
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), ErrorCode::BadRequest);
      EXPECT_NE(std::string(error.what()).find("U+0001 at position 5"), std::string::npos) << error.what();
      EXPECT_EQ(std::string(error.what()).find("hush"), std::string::npos);
    }
    EXPECT_EQ(out, "");
  }
}

}  // namespace
}  // namespace qvx
