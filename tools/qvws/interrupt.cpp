// SPDX-License-Identifier: Apache-2.0
#include "interrupt.h"

#include "exit_code.h"

#include <unistd.h>

#include <atomic>
#include <csignal>

namespace qvwscli {
namespace {

// What a signal handler may look at: no lock, no memory.
std::atomic<bool> g_noted = false;
std::atomic<bool> g_came = false;
std::atomic<int> g_terminal = -1;
struct termios g_echo {};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

extern "C" void onInterrupt(int /*signal*/) {
  if (g_noted && !g_came.exchange(true)) return;
  const int terminal = g_terminal;
  if (terminal != -1) tcsetattr(terminal, TCSANOW, &g_echo);
  _exit(static_cast<int>(ExitCode::Cancelled));
}

/// Ends the process as the signal would have, with the terminal as it was.
extern "C" void onEnd(int signal) {
  const int terminal = g_terminal;
  if (terminal != -1) tcsetattr(terminal, TCSANOW, &g_echo);
  std::signal(signal, SIG_DFL);
  raise(signal);
}

constexpr int kEnds[] = {SIGTERM, SIGHUP, SIGQUIT};

sigset_t stops() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTSTP);
  return set;
}

}  // namespace

void watchInterrupts() {
  struct sigaction action {};
  if (sigaction(SIGINT, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) return;
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
}

InterruptNoted::InterruptNoted() {
  g_came = false;
  g_noted = true;
}
InterruptNoted::~InterruptNoted() {
  g_noted = false;
}
bool InterruptNoted::came() {
  return g_came;
}

EchoOff::EchoOff(int terminal) {
  if (tcgetattr(terminal, &g_echo) != 0) return;
  struct termios silent = g_echo;
  silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
  silent.c_lflag |= ECHONL;
  g_terminal = terminal;
  for (const int signal : kEnds) {
    struct sigaction before {};
    if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_DFL) std::signal(signal, onEnd);
  }
  // Who stops the program at the prompt would find a terminal that shows nothing.
  const sigset_t stop = stops();
  sigprocmask(SIG_BLOCK, &stop, nullptr);
  works_ = tcsetattr(terminal, TCSAFLUSH, &silent) == 0;
}
EchoOff::~EchoOff() {
  const sigset_t stop = stops();
  sigprocmask(SIG_UNBLOCK, &stop, nullptr);
  const int terminal = g_terminal.exchange(-1);
  if (works_ && terminal != -1) tcsetattr(terminal, TCSAFLUSH, &g_echo);
}

}  // namespace qvwscli
