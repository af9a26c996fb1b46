// SPDX-License-Identifier: Apache-2.0
#ifndef QVB_EXPORT_H
#define QVB_EXPORT_H

/// Marks what the platform library exports. `QVB_BUILDING` is defined only while the platform library itself is compiled.
#if defined(_WIN32)
#if defined(QVB_BUILDING)
#define QVB_API __declspec(dllexport)
#else
#define QVB_API __declspec(dllimport)
#endif
#else
#define QVB_API __attribute__((visibility("default")))
#endif

/// Lets the compiler check a printf-style argument list: `formatIndex` and `firstArgument` count from 1 and include `this` (0 = a va_list).
#if defined(__GNUC__)
#define QVB_PRINTF(formatIndex, firstArgument) __attribute__((format(printf, formatIndex, firstArgument)))
#else
#define QVB_PRINTF(formatIndex, firstArgument)
#endif

#endif
