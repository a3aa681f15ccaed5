// SyncedMemory: one block of host memory, allocated when it is first touched.

#include "caffe/syncedmem.hpp"

#include <glog/logging.h>

#include <cstdlib>
#include <iostream>
#include <new>

#include "caffe/util/mapped_block.hpp"

namespace caffe {
namespace {

// Some kernels of the mathematics library read a value past the end of a product that they add
// to, and leave it out again, so a block ends with 64 bytes to spare.
constexpr std::size_t kUnit = 64;

std::size_t AllocatedSize(std::size_t size) { return (size / kUnit + 2) * kUnit; }

// Blocks from this size on are mapped. A network's blobs are built for the largest input, and of
// pages that come fresh from the system those of a smaller picture alone are ever touched; what
// calloc takes from memory that was used before, it has to fill whole. Under AddressSanitizer all
// blocks are allocated, since it watches the ends of those.
// gcc announces the sanitizer by a macro, clang by a feature.
#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define OZNA_WATCHES_BLOCKS
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define OZNA_WATCHES_BLOCKS
#endif
#if defined(OZNA_WATCHES_BLOCKS)
constexpr std::size_t kMapped = static_cast<std::size_t>(-1);
#else
constexpr std::size_t kMapped = std::size_t{1} << 20;
#endif

// Zeros; null where there is no memory. filled: whether all of it is going to be written at once.
void* Allocate(std::size_t size, bool filled) {
  if (AllocatedSize(size) < size) {
    return nullptr;  // Beyond what a size can hold.
  }
  if (size < kMapped) {
    return std::calloc(AllocatedSize(size), 1);
  }
  return MapBlock(AllocatedSize(size), filled);
}

void Free(void* block, std::size_t size) {
  if (size < kMapped) {
    std::free(block);
  } else {
    UnmapBlock(block, AllocatedSize(size));
  }
}

thread_local int throwers = 0;  // Of this thread.

}  // namespace

ThrowWithoutMemory::ThrowWithoutMemory() { ++throwers; }

ThrowWithoutMemory::~ThrowWithoutMemory() { --throwers; }

SyncedMemory::SyncedMemory(std::size_t size)
    : cpu_ptr_(nullptr),
      gpu_ptr_(nullptr),
      size_(size),
      head_(UNINITIALIZED),
      own_cpu_data_(false),
      frozen_(false) {}

SyncedMemory::~SyncedMemory() {
  if (cpu_ptr_ != nullptr && own_cpu_data_) {
    Free(cpu_ptr_, size_);
  }
}

void SyncedMemory::to_cpu(bool filled) {
  if (head_ == UNINITIALIZED) {
    cpu_ptr_ = Allocate(size_, filled);
    if (cpu_ptr_ == nullptr) {
      if (throwers > 0) throw std::bad_alloc();
      std::clog << "Unable to allocate memory\n";
      std::exit(-1);
    }
    head_ = HEAD_AT_CPU;
    own_cpu_data_ = true;
  } else if (head_ == HEAD_BEHIND && cpu_ptr_ == nullptr) {
    cpu_ptr_ = Allocate(size_, filled);
    own_cpu_data_ = true;
  }
}

void SyncedMemory::Provide() { to_cpu(/*filled=*/true); }

const void* SyncedMemory::cpu_data() {
  to_cpu();
  return cpu_ptr_;
}

void* SyncedMemory::mutable_cpu_data() {
  CHECK(!frozen_);
  to_cpu();
  head_ = HEAD_AT_CPU;
  return cpu_ptr_;
}

void SyncedMemory::set_cpu_data(void* data) {
  CHECK(data);
  CHECK(!frozen_);
  if (own_cpu_data_) {
    Free(cpu_ptr_, size_);
  }
  cpu_ptr_ = data;
  head_ = HEAD_AT_CPU;
  own_cpu_data_ = false;
}

void SyncedMemory::Release() {
  CHECK(!frozen_);
  if (!own_cpu_data_) return;
  Free(cpu_ptr_, size_);
  cpu_ptr_ = nullptr;
  own_cpu_data_ = false;
  head_ = UNINITIALIZED;
}

void SyncedMemory::Freeze() {
  to_cpu();
  frozen_ = true;
}

}  // namespace caffe
