// SPDX-License-Identifier: Apache-2.0
#ifndef QVB_MESSAGE_H
#define QVB_MESSAGE_H

#include <qvb/export.h>
#include <qvb/string.h>

#include <stdarg.h>
#include <stdint.h>

/// Builds the text of a catalogued message: "QVWS-", the id, ": ", and the catalogue's sentence with the arguments in it.
///
/// @param[in] file       source file that reports, for a debugger; may be null; not part of the text
/// @param[in] line       its line
/// @param[in] component  who reports, such as "Web Service Client"; may be null; not part of the text
/// @param[in] id         the message's number; one that the catalogue does not hold gives a text that says so
/// @param[in] ...        the message's arguments in the catalogue's order and types: texts as `const char*` (UTF-8, null reads as nothing),
///                       numbers as `int32_t`
/// @return the text; never null. Without memory for it, the bare "QVWS-444".
/// @par Threads  Any.
QVB_API QvbString qvb_get_message(const char* file, int32_t line, const char* component, int32_t id, ...);

/// qvb_get_message() with the arguments in a list.
QVB_API QvbString qvb_get_message_v(const char* file, int32_t line, const char* component, int32_t id, va_list arguments);

#endif
