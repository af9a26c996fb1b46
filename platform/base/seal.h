// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_BASE_SEAL_H
#define QVP_BASE_SEAL_H

#include "base/wipe.h"

#include <string>
#include <string_view>

// Sealed texts: "{sealed}" and the base64 text of a nonce and a libsodium secret box.
namespace qvp {

inline constexpr std::string_view kSealedMark = "{sealed}";
inline constexpr std::string_view kBase64Mark = "{base64}";

/// The credentials file: the one that `QVWS_CREDENTIALS_FILE` names, else the user's own; empty when there is no such place.
std::string credentialsPath();
/// seal.key beside the credentials file; empty when there is no such place.
std::string sealKeyPath();

/// Why something failed: the message's id, and the sentence that goes into it.
struct SealError {
  int id = 0;
  std::string text;
};

/// Opens what stands behind the mark with the key file; the texts of errors hold nothing of the value.
bool openSealed(std::string_view sealed, const std::string& keyPath, Secret& plain, SealError& error);
/// Seals a text with the key file, which is made when it is absent.
bool sealText(std::string_view plain, const std::string& keyPath, std::string& sealed, SealError& error);
/// Decodes what stands behind the mark.
bool openBase64(std::string_view text, Secret& plain, SealError& error);

}  // namespace qvp

#endif
