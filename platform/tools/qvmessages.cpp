// SPDX-License-Identifier: Apache-2.0
// Prints docs/messages.md from the catalogue.
#include "base/message_table.h"

#include <stdio.h>

int main() {
  fputs(
      "# Messages\n\n"
      "Every message begins with `QVWS-`, its number and a colon. This page is made by `qvmessages` from the catalogue in "
      "`platform/base/message_table.cpp`;\n"
      "change it there, then run `qvmessages > docs/messages.md`. `{1}` stands for the first argument; texts are `text`, 32-bit numbers `number`.\n",
      stdout);
  for (const qvp::Message& message : qvp::messageTable()) {
    printf("\n## QVWS-%d\n\n> %s\n\n", static_cast<int>(message.id), message.sentence);
    printf("- Severity: %s\n- Arguments: ", message.severity == qvp::Severity::Error ? "error" : "notice");
    for (const char* type = message.arguments; *type != '\0'; ++type)
      printf("%s%s", type == message.arguments ? "" : ", ", *type == 'i' ? "number" : "text");
    printf("%s\n- Cause: %s\n- What to do: %s\n", *message.arguments == '\0' ? "none" : "", message.cause, message.action);
  }
  return fflush(stdout) == 0 ? 0 : 1;
}
