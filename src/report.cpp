// SPDX-License-Identifier: Apache-2.0
#include "report.h"

#include <stdarg.h>

void logLine(QvlogLogger& logger, int32_t level, Here here, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logger.logFormat(level, here.file, here.line, format, arguments);
  va_end(arguments);
}
