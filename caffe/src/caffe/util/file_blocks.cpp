// FileBlocks: a file for the readers of binary messages, in large blocks.

#include "caffe/util/file_blocks.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "caffe/util/mapped_block.hpp"

namespace caffe {

FileBlocks::FileBlocks(int fd, std::size_t block_bytes)
    : fd_(fd),
      block_bytes_(block_bytes),
      block_(static_cast<char*>(MapBlock(block_bytes, /*filled=*/true))) {
  if (block_ == nullptr) throw std::bad_alloc();
}

FileBlocks::~FileBlocks() { UnmapBlock(block_, block_bytes_); }

void FileBlocks::Fill() {
  filled_ = 0;
  while (filled_ < block_bytes_ && error_ == 0) {
    const ssize_t got = read(fd_, block_ + filled_, block_bytes_ - filled_);
    if (got == 0) break;
    if (got > 0) {
      filled_ += static_cast<std::size_t>(got);
    } else if (errno != EINTR) {
      error_ = errno;
    }
  }
  read_ += static_cast<std::int64_t>(filled_);
  rest_ = filled_;
}

bool FileBlocks::Next(const void** data, int* size) {
  if (rest_ == 0) Fill();
  if (rest_ == 0) return false;
  *data = block_ + (filled_ - rest_);
  *size = static_cast<int>(rest_);
  rest_ = 0;
  return true;
}

void FileBlocks::BackUp(int count) { rest_ += static_cast<std::size_t>(count); }

bool FileBlocks::Skip(int count) {
  while (count > 0) {
    const void* data;
    int size;
    if (!Next(&data, &size)) return false;
    if (size > count) BackUp(size - count);
    count -= std::min(size, count);
  }
  return true;
}

}  // namespace caffe
