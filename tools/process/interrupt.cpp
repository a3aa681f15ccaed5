// The handler of SIGINT and SIGTERM.

#include "tools/process/interrupt.h"

#include <atomic>
#include <csignal>
#include <initializer_list>

namespace oznatool {
namespace {

std::atomic<int> came{0};  // The number of the signal.
static_assert(std::atomic<int>::is_always_lock_free, "a handler may take no lock");

void remember(int signal) {
  came = signal;
  // Whichever comes next ends the process.
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
}

}  // namespace

void watchInterrupts() {
  for (const int signal : {SIGINT, SIGTERM}) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) == -1 || action.sa_handler == SIG_IGN) continue;
    action.sa_handler = remember;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
  }
}

bool interrupted() { return came != 0; }

int interruptingSignal() { return came; }

}  // namespace oznatool
