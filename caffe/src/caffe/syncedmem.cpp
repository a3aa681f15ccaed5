// SyncedMemory: one block of host memory, allocated when it is first touched.

#include "caffe/syncedmem.hpp"

#include <glog/logging.h>

#include <cstdlib>
#include <iostream>

namespace caffe {

SyncedMemory::SyncedMemory(std::size_t size)
    : cpu_ptr_(nullptr),
      gpu_ptr_(nullptr),
      size_(size),
      head_(UNINITIALIZED),
      own_cpu_data_(false),
      frozen_(false) {}

SyncedMemory::~SyncedMemory() {
  if (cpu_ptr_ != nullptr && own_cpu_data_) {
    std::free(cpu_ptr_);
  }
}

void SyncedMemory::to_cpu() {
  if (head_ == UNINITIALIZED) {
    // calloc takes large blocks as zeroed pages from the system, so that a blob built for the
    // largest input costs only the pages that are touched.
    // Some kernels of the mathematics library read a value behind the end of a product that they add
    // to, and leave it out again, so a block ends with 64 bytes to spare.
    constexpr std::size_t kUnit = 64;
    cpu_ptr_ = std::calloc(size_ / kUnit + 2, kUnit);
    if (cpu_ptr_ == nullptr) {
      std::clog << "Unable to allocate memory\n";
      std::exit(-1);
    }
    head_ = HEAD_AT_CPU;
    own_cpu_data_ = true;
  } else if (head_ == HEAD_BEHIND && cpu_ptr_ == nullptr) {
    cpu_ptr_ = std::malloc(size_);
    own_cpu_data_ = true;
  }
}

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
    std::free(cpu_ptr_);
  }
  cpu_ptr_ = data;
  head_ = HEAD_AT_CPU;
  own_cpu_data_ = false;
}

void SyncedMemory::Release() {
  CHECK(!frozen_);
  if (!own_cpu_data_) return;
  std::free(cpu_ptr_);
  cpu_ptr_ = nullptr;
  own_cpu_data_ = false;
  head_ = UNINITIALIZED;
}

void SyncedMemory::Freeze() {
  to_cpu();
  frozen_ = true;
}

}  // namespace caffe
