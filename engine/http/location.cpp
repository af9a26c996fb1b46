// SPDX-License-Identifier: Apache-2.0
#include "http/location.h"

#include "error.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>

namespace qvx {

namespace {

struct FreeUrl {
  void operator()(CURLU* url) const noexcept { curl_url_cleanup(url); }
};
using Url = std::unique_ptr<CURLU, FreeUrl>;

std::string part(CURLU* url, CURLUPart which, unsigned flags = 0) {
  char* text = nullptr;
  if (curl_url_get(url, which, &text, flags) != CURLUE_OK || text == nullptr) return {};
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
  return text;
}

// One letter before the colon is a drive, not a scheme.
std::string schemeOf(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos || colon < 2 || std::isalpha(static_cast<unsigned char>(text[0])) == 0) return {};
  std::string scheme(text.substr(0, colon));
  for (char& c : scheme) {
    if (std::isalnum(static_cast<unsigned char>(c)) == 0 && c != '+' && c != '-' && c != '.') return {};
    c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  }
  return scheme;
}

std::string trimmed(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0) text.remove_suffix(1);
  return std::string(text);
}

std::string decoded(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && std::isxdigit(static_cast<unsigned char>(text[i + 1])) != 0 &&
        std::isxdigit(static_cast<unsigned char>(text[i + 2])) != 0) {
      const int value = std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16);
      if (value != 0) {
        out += static_cast<char>(value);
        i += 2;
        continue;
      }
    }
    out += text[i];
  }
  return out;
}

Location file(const std::filesystem::path& path) {
  return {true, std::filesystem::absolute(path).lexically_normal().string()};
}

Location web(CURLU* url) {
  curl_url_set(url, CURLUPART_FRAGMENT, nullptr, 0);
  return {false, part(url, CURLUPART_URL)};
}

Location fileUrl(const std::string& text) {
  std::string rest = text.substr(5);
  if (rest.rfind("//", 0) == 0) {
    rest.erase(0, 2);
    const std::size_t slash = rest.find('/');
    const std::string host = rest.substr(0, slash);
    if (!host.empty() && host != "localhost") {
      throw Error(ErrorCode::UnsupportedScheme, text + ": a file on another host cannot be read; give a path, or a file: URL without a host");
    }
    rest.erase(0, slash == std::string::npos ? rest.size() : slash);
  }
  return file(decoded(rest.substr(0, rest.find_first_of("?#"))));
}

}  // namespace

Location locate(std::string_view address) {
  const std::string text = trimmed(address);
  const std::string scheme = schemeOf(text);
  if (scheme.empty()) return file(text);
  if (scheme == "file") return fileUrl(text);
  if (scheme != "http" && scheme != "https") {
    std::error_code ignored;
    if (std::filesystem::exists(text, ignored)) return file(text);
    throw Error(ErrorCode::UnsupportedScheme, text + ": the scheme '" + scheme + "' is not supported; use a path, file:, http: or https:");
  }
  const Url url(curl_url());
  if (url == nullptr) throw std::bad_alloc();
  if (curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_URLENCODE) != CURLUE_OK) {
    // Where its parts cannot be told, neither can a password in it.
    const std::string shown = text.find('@') == std::string::npos ? text : "(a URL)";
    throw Error(ErrorCode::BadRequest, shown + ": not a well-formed URL; check its host, port and characters");
  }
  return web(url.get());
}

Location resolve(const Location& base, std::string_view reference) {
  const std::string text = trimmed(reference);
  if (text.empty()) return base;
  const std::string scheme = schemeOf(text);
  if (!scheme.empty()) return locate(text);
  if (!base.isFile) {
    const Url url(curl_url());
    if (url == nullptr) throw std::bad_alloc();
    if (curl_url_set(url.get(), CURLUPART_URL, base.text.c_str(), 0) != CURLUE_OK ||
        curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_URLENCODE) != CURLUE_OK) {
      throw Error(ErrorCode::BadRequest, text + ": not a well-formed reference");
    }
    return web(url.get());
  }
  const std::filesystem::path folder = std::filesystem::path(base.text).parent_path();
  // References are URIs, but many documents hold plain file names: what is there is what is meant.
  std::string slashed = text;
  std::replace(slashed.begin(), slashed.end(), '\\', '/');
  const std::string uri = text.substr(0, text.find_first_of("?#"));
  std::error_code ignored;
  for (const std::string& candidate : {text, decoded(uri), slashed}) {
    if (!candidate.empty() && std::filesystem::exists(folder / candidate, ignored)) return file(folder / candidate);
  }
  return file(folder / decoded(uri));
}

std::string originOf(const Location& location) {
  if (location.isFile) return {};
  const Url url(curl_url());
  if (url == nullptr) throw std::bad_alloc();
  if (curl_url_set(url.get(), CURLUPART_URL, location.text.c_str(), 0) != CURLUE_OK) return {};
  std::string host = part(url.get(), CURLUPART_HOST);
  std::transform(host.begin(), host.end(), host.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return part(url.get(), CURLUPART_SCHEME) + "://" + host + ":" + part(url.get(), CURLUPART_PORT, CURLU_DEFAULT_PORT);
}

std::string printable(const Location& location) {
  if (location.isFile || location.text.find('@') == std::string::npos) return location.text;
  const Url url(curl_url());
  if (url == nullptr) throw std::bad_alloc();
  if (curl_url_set(url.get(), CURLUPART_URL, location.text.c_str(), 0) != CURLUE_OK) return "(a URL)";
  curl_url_set(url.get(), CURLUPART_USER, nullptr, 0);
  curl_url_set(url.get(), CURLUPART_PASSWORD, nullptr, 0);
  return part(url.get(), CURLUPART_URL);
}

}  // namespace qvx
