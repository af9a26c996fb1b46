// SPDX-License-Identifier: Apache-2.0
#ifndef QVWSCLI_INTERRUPT_H
#define QVWSCLI_INTERRUPT_H

#include <termios.h>

namespace qvwscli {

/// Has Ctrl-C end the process with exit code 130. One that was told to ignore it goes on ignoring it.
void watchInterrupts();

/// While this lives, the first Ctrl-C is noted and the second ends the process.
class InterruptNoted {
 public:
  InterruptNoted();
  InterruptNoted(const InterruptNoted&) = delete;
  InterruptNoted& operator=(const InterruptNoted&) = delete;
  ~InterruptNoted();

  [[nodiscard]] static bool came();
};

/// While this lives, a terminal shows nothing of what is typed; a signal that ends the process makes it show it
/// again before.
class EchoOff {
 public:
  explicit EchoOff(int terminal);
  EchoOff(const EchoOff&) = delete;
  EchoOff& operator=(const EchoOff&) = delete;
  ~EchoOff();

  /// False when the terminal cannot be told.
  [[nodiscard]] bool works() const { return works_; }

 private:
  bool works_ = false;
};

}  // namespace qvwscli

#endif
