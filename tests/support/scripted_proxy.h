// SPDX-License-Identifier: Apache-2.0
#ifndef QVWS_TESTS_SUPPORT_SCRIPTED_PROXY_H
#define QVWS_TESTS_SUPPORT_SCRIPTED_PROXY_H

#include <qvb/string.h>

#include <stdint.h>

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

struct QvjniOptionCallback;
struct QvjniLogCallback;
struct QvjniInvokeCallback;

/// Stands in for the proxy library, the wire library, the configuration, the security subject, the logger, and the comparison and messages of the
/// base library: under its flag texts compare without regard to case. What the library does is written down in `trace`, in a short notation; what it
/// is answered comes from `answers`.
namespace scripted {

using Text = std::optional<std::string>;
inline constexpr std::nullopt_t null = std::nullopt;
using Rows = std::vector<std::vector<Text>>;

struct Reply {
  int32_t status = 0;
  std::vector<std::optional<Rows>> rows{};  // the row sets answered; one too few is an absent one
  size_t parameters = 9;                    // no more than these are answered
  int64_t handle = 0;                       // of an answer that begins with an integer
  int32_t code = 0;                         // of a failure
  std::string text{};
};

struct Script {
  /// "SetOptions([11,11: name|value; ...])", "-" for an absent cell, then the types asked for.
  std::vector<std::string> trace;
  /// By method, and for the discovered objects by method, blank and local name. In order; the last one goes on answering.
  std::map<std::string, std::deque<Reply>> answers;
  std::function<int32_t(QvjniOptionCallback*, QvjniLogCallback*)> onCreate;
  std::function<void(const std::string& method, QvjniInvokeCallback*)> onCall;  // while a method is being called
  std::deque<int32_t> rowCounts;  // what the next questions for a number of rows are answered with; the last one goes on
  bool hasConfig = true;
  std::map<std::string, std::string> config;
  bool hasSubject = false;
  std::map<std::string, std::pair<std::string, std::string>> credentials;
  int32_t logLevel = 1;
  std::vector<std::string> log;  // "level text"
  int32_t failAt = 0;            // the platform call or non-throwing allocation that fails, from 1; 0 = none
  bool failOn = false;           // whether all that follow it fail as well
  std::string failOnly;          // counts the calls of this function alone, such as "nextRow" or "new"; empty = all
  int32_t platformCalls = 0;
  std::string failed;  // the function that failed first
  bool failRealloc = false;
  int32_t live = 0;      // proxies, row sets, responses and uses of the subject that the library has not ended
  int32_t takenOut = 0;  // row sets that were taken out of a response
  /// What was left to a proxy and went with it, all still counted in `live`: "rows 11,11", "response Reset".
  std::vector<std::string> left;

  /// From now on the k-th call of a function fails; of any when it is null.
  void fail(const char* function, int32_t k);
  /// What was logged since it was last asked for, a line each.
  std::string logged();
  [[nodiscard]] std::vector<std::string> calls() const;
};

/// The script in force; reset() begins a new one.
Script& script();
void reset();
/// Answers a discovery with handle 42: service S with endpoints p and q, of which p uses binding B, which binds interface I with operations a and b;
/// everything is in namespace "x".
void answerTree();
/// The object list of a discovery.
Rows objects(const std::vector<std::pair<Text, std::string>>& list);

std::string str(const QvbString& text);
/// The number of a message such as "1725(Reset, 12, said)": messages are given by number and arguments. 0 for a null text, -1 for one without a
/// number.
int32_t id(const QvbString& text);

}  // namespace scripted

#endif
