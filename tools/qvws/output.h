// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_OUTPUT_H
#define QVWSCLI_OUTPUT_H

#include <string>
#include <string_view>

namespace qvwscli {

/// Writes results to standard output, as they are; throws Failure (Internal) when they cannot be written.
void print(std::string_view text);

/// Writes XML from a service: as it is into files and pipes, fit for a terminal on one.
void printXml(std::string_view xml);

}  // namespace qvwscli

#endif
