// The handler of SIGINT.

#include "tools/interrupt.h"

#include <atomic>
#include <csignal>

namespace oznatool {
namespace {

std::atomic<bool> came{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a handler may take no lock");

void remember(int /*signal*/) { came = true; }

}  // namespace

void watchInterrupts() {
  struct sigaction action = {};
  if (sigaction(SIGINT, nullptr, &action) == -1 || action.sa_handler == SIG_IGN) return;
  action.sa_handler = remember;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
  sigaction(SIGINT, &action, nullptr);
}

bool interrupted() { return came; }

}  // namespace oznatool
