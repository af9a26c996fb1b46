// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_PROGRESS_H
#define QVWSCLI_PROGRESS_H

#include <chrono>

namespace qvwscli {

/// A line on standard error that says how a call is doing: how long it has taken and how many bytes have gone over its connections, both ways, as the
/// system counts them (with HTTP's and TLS's own; where it does not tell, the time alone). It appears after half a second, only on a terminal, and
/// goes when this does.
class Progress {
 public:
  Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { erase(); }

  /// To be called often.
  void update();
  void erase();

 private:
  using Clock = std::chrono::steady_clock;

  bool onTerminal_;
  bool drawn_ = false;
  Clock::time_point begin_ = Clock::now();
  Clock::time_point next_ = begin_ + std::chrono::milliseconds(500);
};

}  // namespace qvwscli

#endif
