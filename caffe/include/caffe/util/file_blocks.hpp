/// FileBlocks: a file for the readers of binary messages, in large blocks.

#ifndef CAFFE_UTIL_FILE_BLOCKS_HPP_
#define CAFFE_UTIL_FILE_BLOCKS_HPP_

#include <google/protobuf/io/zero_copy_stream.h>

#include <cstddef>
#include <cstdint>

namespace caffe {

/// The bytes of a descriptor, from where it stands to its end, in full blocks of a size; the last
/// one may be shorter.
///
/// Memory   One block, from the system and not from malloc. Without memory the constructor throws
///          std::bad_alloc.
/// Errors   A read that fails ends the file, and error() is set.
/// Threads  One at a time.
class FileBlocks : public google::protobuf::io::ZeroCopyInputStream {
 public:
  /// The descriptor stays the caller's. block_bytes: above 0.
  FileBlocks(int fd, std::size_t block_bytes);
  ~FileBlocks() override;
  FileBlocks(const FileBlocks&) = delete;
  FileBlocks& operator=(const FileBlocks&) = delete;

  bool Next(const void** data, int* size) override;
  void BackUp(int count) override;
  bool Skip(int count) override;
  std::int64_t ByteCount() const override { return read_ - static_cast<std::int64_t>(rest_); }

  /// errno of the read that failed; 0 if none did.
  int error() const { return error_; }

 private:
  // Fills the block from its start, as far as the file goes.
  void Fill();

  const int fd_;
  const std::size_t block_bytes_;
  char* const block_;
  std::size_t filled_ = 0;  // Bytes of the block that hold the file's.
  std::size_t rest_ = 0;    // Of those, the ones at the end that nobody took yet.
  std::int64_t read_ = 0;   // Bytes read from the file.
  int error_ = 0;
};

}  // namespace caffe

#endif  // CAFFE_UTIL_FILE_BLOCKS_HPP_
