// SPDX-License-Identifier: Apache-2.0
#ifndef QVB_CONFIG_H
#define QVB_CONFIG_H

#include <qvb/export.h>
#include <qvb/string.h>

#include <stdint.h>

/// The configuration of the whole product, read from one TOML file.
///
/// The file is the one that the environment variable `QVWS_CONFIG_FILE` names, else `$XDG_CONFIG_HOME/qvws/config.toml` (`~/.config` when that is
/// unset), else `/etc/qvws/config.toml`. Only the named file must exist; without any file every lookup finds nothing. A key is a section and a key
/// joined by a slash ("WEBSERVICE/REQUEST_TIMEOUT" is `REQUEST_TIMEOUT` in `[WEBSERVICE]`); a key without a slash stands at top level. Keys compare
/// byte for byte. Texts, whole numbers, floating-point numbers and truth values can be looked up; tables, arrays and dates count as absent.
///
/// @par Threads  Read-only once made: any number of threads.
/// @par ABI      The order of the operations is part of the binary interface.
class QvbConfigOptions {
 public:
  /// Slot 1. The file that was read; null when there is none.
  [[nodiscard]] virtual QvbString getSource() const = 0;
  /// Slot 2. Whether the file could not be read or is malformed; `error` then receives what is wrong, with file and line, otherwise null. Every
  /// lookup of such a configuration finds nothing.
  virtual bool getError(QvbString& error) const = 0;
  /// Slot 3. Looks a key up.
  /// @param[in]  key    the key; a null or empty one is never found
  /// @param[out] value  the value's text: as written for a text, decimal for a number, "true" or "false"; null when not found
  /// @param[in]  flags  0; other values are reserved
  /// @return whether the key was found
  virtual bool lookup(const QvbString& key, QvbString& value, int32_t flags) const = 0;

 protected:
  /// Slot 4.
  virtual ~QvbConfigOptions() = default;
};

/// The configuration of the product.
///
/// It is read at the first call in the process; later changes of the file are not seen. A file that cannot be read or is malformed is logged once, at
/// level 5, and reported as message 2103 by the first operation that needs a value (creating a proxy).
///
/// @param[in] name  null or empty for the product's own; no other configuration exists, and any other name gives a null pointer
/// @return the configuration, owned by the base library and alive as long as the process; null when there is none of that name or no memory
/// @par Threads  Any.
extern "C" QVB_API const QvbConfigOptions* qvbGetConfigOptions(const QvbString& name);

#endif
