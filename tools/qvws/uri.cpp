// SPDX-License-Identifier: Apache-2.0
#include "call.h"
#include "output.h"
#include "report.h"
#include "text.h"

#include <memory>

namespace qvwscli {

ExitCode uri(const Request& request, const std::string& uriTemplate, bool json) {
  Client client;
  client.tell(request);
  QvbString err;
  const auto release = [](QvbStringCursor* cursor) { cursor->release(); };
  const std::unique_ptr<QvbStringCursor, decltype(release)> cursor(client->DiscoverURI(text(uriTemplate), err), release);
  if (cursor == nullptr) throw Failure(exitCodeOf(view(err)), std::string(view(err)));
  Json names = Json::array();
  std::string lines;
  while (cursor->next()) {
    const QvbString name = cursor->getString(0);
    names.push_back(std::string(view(name)));
    lines += safe(view(name), Escape::Line) + "\n";
  }
  print(json ? jsonText({{"template", uriTemplate}, {"variables", std::move(names)}}) : lines);
  return ExitCode::Success;
}

}  // namespace qvwscli
