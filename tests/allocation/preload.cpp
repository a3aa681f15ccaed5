// The failing allocator for a program of which nothing is changed: it is preloaded, and told by the
// environment which allocation fails. See scripts/sweep_program.sh.
//
//   OZNA_FAIL_ALLOCATION  Number of the allocation, from 1; 0 for none.
//   OZNA_FAIL_ON          Set: and all after it.
//   OZNA_COUNT_FILE       Set: gets the number of allocations when the process ends.

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tests/allocation/failing_allocator.h"

namespace {

using failing_allocator::Failure;

pid_t started = 0;

__attribute__((constructor)) void start() {
  const char* const index = std::getenv("OZNA_FAIL_ALLOCATION");
  if (index == nullptr) return;
  started = getpid();
  failing_allocator::arm(std::atol(index), std::getenv("OZNA_FAIL_ON") != nullptr
                                               ? Failure::kOneAndOn
                                               : Failure::kOne);
}

// Without an allocation; children that were forked do not write theirs.
__attribute__((destructor)) void writeCount() {
  const long count = failing_allocator::disarm();
  const char* const path = std::getenv("OZNA_COUNT_FILE");
  if (path == nullptr || started != getpid()) return;
  const int file = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dprintf(file, "%ld\n", count);
  close(file);
}

}  // namespace
