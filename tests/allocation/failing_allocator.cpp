// The allocator that fails: the C functions of the GNU C library with a counter before them.

#include "tests/allocation/failing_allocator.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace {

std::atomic<long> count{0};
std::atomic<long> first_failure{0};
std::atomic<bool> armed{false};
std::atomic<bool> on_and_on{false};
std::atomic<bool> has_failed{false};
std::atomic<long> live{0};

bool mustFail() {
  if (!armed) {
    return false;
  }
  const long number = ++count;
  const long first = first_failure;
  if (first == 0 || number < first || (number > first && !on_and_on)) {
    return false;
  }
  has_failed = true;
  errno = ENOMEM;
  return true;
}

}  // namespace

namespace failing_allocator {

void arm(long index, Failure failure) {
  count = 0;
  first_failure = index;
  on_and_on = failure == Failure::kOneAndOn;
  has_failed = false;
  armed = true;
}

long disarm() {
  armed = false;
  return count;
}

bool failed() { return has_failed; }
long liveBlocks() { return live; }

}  // namespace failing_allocator

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);

static void* counted(void* block) {
  live += block != nullptr ? 1 : 0;
  return block;
}

void* malloc(std::size_t size) { return mustFail() ? nullptr : counted(__libc_malloc(size)); }

void* calloc(std::size_t count, std::size_t size) {
  return mustFail() ? nullptr : counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size) {
  if (mustFail()) {
    return nullptr;
  }
  void* moved = __libc_realloc(block, size);
  live += block == nullptr && moved != nullptr ? 1 : 0;
  live -= block != nullptr && size == 0 ? 1 : 0;
  return moved;
}

void* memalign(std::size_t alignment, std::size_t size) {
  return mustFail() ? nullptr : counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  void* const made = memalign(alignment, size);
  if (made == nullptr) {
    return ENOMEM;
  }
  *block = made;
  return 0;
}

void free(void* block) {
  live -= block != nullptr ? 1 : 0;
  __libc_free(block);
}

}  // extern "C"
