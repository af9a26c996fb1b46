// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_MODULE_BOUND_VALUES_H
#define QVX_MODULE_BOUND_VALUES_H

#include "soap/reply_reader.h"
#include "soap/request_envelope.h"

#include <qvwlp/qvwlp.h>

#include <vector>

namespace qvx {

/// The values that "SetParameters" binds.
struct BoundValues {
  std::vector<InputValue> inputs;
  std::vector<WantedValue> outputs;
};

/// Reads the rows of "SetParameters".
/// @throw Error BadRequest naming the value: a name that is no QName text, a direction, type or item that there is none of, an output file without a
///        path or with another one's
BoundValues readBoundValues(const QvwlpValue& rows);

}  // namespace qvx

#endif
