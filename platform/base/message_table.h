// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_BASE_MESSAGE_TABLE_H
#define QVP_BASE_MESSAGE_TABLE_H

#include <stdint.h>

#include <span>
#include <string>
#include <vector>

namespace qvp {

enum class Severity { Notice, Error };

/// One message of the catalogue.
struct Message {
  int32_t id;
  Severity severity;
  const char* arguments;  ///< one letter an argument, in order: t = text, i = 32-bit number
  const char* sentence;   ///< {1} stands for the first argument
  const char* cause;
  const char* action;
};

/// All messages, in ascending order of their ids.
std::span<const Message> messageTable();
/// The message of an id, or null.
const Message* findMessage(int32_t id);
/// "QVWS-id: sentence" with the arguments in it; as many as the message has.
std::string composeMessage(const Message& message, const std::vector<std::string>& arguments);

}  // namespace qvp

#endif
