// SPDX-License-Identifier: Apache-2.0
#ifndef QVP_PROXY_ANSWER_H
#define QVP_PROXY_ANSWER_H

#include "wire/wire.h"

#include <qvjni/module.h>

#include <string>

namespace qvp {

/// Lets a method write into a response.
class Answer final : public QvjniAnswer {
 public:
  Answer(QvwlpResponse& response, Owned& owner) : response_(response), owner_(owner) {}

  bool addInteger(int64_t value) override;
  bool addString(const char* text, int32_t length) override;
  QvjniAnswerRows* addRows(const char* columnTypes) override;
  bool addNoRows() override;
  void* allocate(size_t bytes) override;
  void fail(int32_t code, const char* text, int32_t length) override;

 private:
  QvwlpResponse& response_;
  Owned& owner_;
};

/// Compares a response with the types that were asked for, down to the cells of its rows.
/// @param[out] problem  what differs
bool checkAnswer(const QvwlpResponse& response, const char* types, std::string& problem);

}  // namespace qvp

#endif
