// Blocks of memory that come from the system and go back there.

#include "caffe/util/mapped_block.hpp"

#include <sys/mman.h>

#include <cerrno>

namespace caffe {

void* MapBlock(std::size_t bytes, bool filled) noexcept {
  void* const block =
      mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (block == MAP_FAILED) return nullptr;
  if (filled) {
    const int error = errno;
    // Both are wishes: what a system does not know, it refuses, and the pages come one by one.
    madvise(block, bytes, MADV_HUGEPAGE);
#ifdef MADV_POPULATE_WRITE
    madvise(block, bytes, MADV_POPULATE_WRITE);
#endif
    errno = error;
  }
  return block;
}

void UnmapBlock(void* block, std::size_t bytes) noexcept {
  if (block != nullptr) munmap(block, bytes);
}

}  // namespace caffe
