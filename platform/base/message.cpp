// SPDX-License-Identifier: Apache-2.0
#include "base/message_table.h"

#include <qvb/message.h>

#include <new>
#include <string>
#include <vector>

QvbString qvb_get_message_v(const char* /*file*/, int32_t /*line*/, const char* /*component*/, int32_t id, va_list arguments) {
  try {
    const qvp::Message* message = qvp::findMessage(id);
    if (message == nullptr) return ("QVWS-" + std::to_string(id) + ": There is no message of this number.").c_str();
    std::vector<std::string> texts;
    for (const char* type = message->arguments; *type != '\0'; ++type) {
      if (*type == 'i') {
        texts.push_back(std::to_string(va_arg(arguments, int32_t)));
      } else {
        const char* text = va_arg(arguments, const char*);
        texts.emplace_back(text != nullptr ? text : "");
      }
    }
    return qvp::composeMessage(*message, texts).c_str();
  } catch (const std::bad_alloc&) {
    // Short enough to need no memory.
    return "QVWS-444";
  }
}

QvbString qvb_get_message(const char* file, int32_t line, const char* component, int32_t id, ...) {
  va_list arguments;
  va_start(arguments, id);
  QvbString text = qvb_get_message_v(file, line, component, id, arguments);
  va_end(arguments);
  return text;
}
