// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_ANSWER_H
#define QVWSCLI_ANSWER_H

#include "report.h"

#include <qvws/qvws.h>

#include <string_view>

namespace qvwscli {

/// The values that came with an answer: lists by name.
Json responseValues(WebServiceClient& client);

/// The fault that a message 1725 tells of: its lines "Code: ...", "Subcode: ...", "Reason: ...", "Actor: ...", "Role: ..." and "Detail: ...", the
/// detail being all that follows. Members that it does not tell are null, subcodes an empty list.
Json faultOf(std::string_view message);

}  // namespace qvwscli

#endif
