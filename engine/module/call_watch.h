// SPDX-License-Identifier: Apache-2.0
#ifndef QVX_MODULE_CALL_WATCH_H
#define QVX_MODULE_CALL_WATCH_H

#include "http/exchange.h"

#include <qvjni/qvjni.h>

#include <algorithm>
#include <chrono>
#include <limits>

namespace qvx {

/// Polls the caller's callback, at once and then as often as it wants to be polled.
class CallWatch final : public Watch {
 public:
  /// @param[in] callback  borrowed; null = there is none, and nothing stops
  explicit CallWatch(QvjniInvokeCallback* callback)
      : callback_(callback), pause_(callback == nullptr || callback->option <= 0 ? kPause : std::chrono::milliseconds(callback->option)) {}

  bool stop() override {
    if (stopped_ || callback_ == nullptr) return stopped_;
    const auto now = Clock::now();
    if (now < next_) return false;
    stopped_ = callback_->poll(callback_) == 1;
    next_ = now + pause_;
    return stopped_;
  }

  [[nodiscard]] int wait() const override {
    if (callback_ == nullptr) return std::numeric_limits<int>::max();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(next_ - Clock::now()).count();
    return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(left, 1, std::numeric_limits<int>::max()));
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kPause{100};

  QvjniInvokeCallback* callback_;
  std::chrono::milliseconds pause_;
  Clock::time_point next_ = Clock::now();
  bool stopped_ = false;
};

}  // namespace qvx

#endif
