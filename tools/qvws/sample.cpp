// SPDX-License-Identifier: Apache-2.0
#include "call.h"
#include "output.h"
#include "report.h"
#include "text.h"

namespace qvwscli {

ExitCode sample(const CallArguments& arguments) {
  const Target target = findTarget(arguments.request, {}, arguments.operation, arguments.choice, Ports::SameMessageWillDo);
  const std::string envelope = target.input.sample.empty() ? envelopeOf(target, {}, {}) : target.input.sample;
  if (!arguments.json) {
    print(safe(envelope, Escape::Xml));
    return ExitCode::Success;
  }
  const auto orNull = [](const std::optional<std::string>& text) { return text ? Json(*text) : Json(); };
  print(jsonText({{"operation", target.operation},
                  {"soapVersion", target.soap},
                  {"address", orNull(target.address)},
                  {"action", orNull(target.action)},
                  {"envelope", envelope}}));
  return ExitCode::Success;
}

}  // namespace qvwscli
