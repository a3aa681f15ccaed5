/// SyncedMemory: the holder of one block of host memory behind a Blob.

#ifndef CAFFE_SYNCEDMEM_HPP_
#define CAFFE_SYNCEDMEM_HPP_

#include <cstddef>
#include <cstdint>

namespace caffe {

/// One block of host memory, allocated and zero-filled on first access.
///
/// The holder keeps the shape of a design with two devices, but there is only host memory.
///
/// Errors: exhausted memory is written to std::clog and ends the process with exit(-1), unless a
/// ThrowWithoutMemory lives in the calling thread.
///
/// Threads: no locks. The first access allocates, so that not even reads of a fresh block may be
/// shared.
class SyncedMemory {
 public:
  enum SyncedHead : std::int32_t { UNINITIALIZED = 0, HEAD_AT_CPU = 1, HEAD_BEHIND = 2 };

  /// Allocates nothing. size: length of the block in bytes.
  explicit SyncedMemory(std::size_t size);
  ~SyncedMemory();
  SyncedMemory(const SyncedMemory&) = delete;
  SyncedMemory& operator=(const SyncedMemory&) = delete;

  /// The block, allocated if there is none yet. Never null for a size above 0.
  const void* cpu_data();
  void* mutable_cpu_data();

  /// Allocates the block for one that is going to write all of it at once, which is cheaper then:
  /// its pages come in one go.
  void Provide();

  /// Adopts data, which stays the caller's and must outlive its use here; an own block is freed
  /// first.
  void set_cpu_data(void* data);

  /// Gives the block back, if it is an own one: the next access finds zeros again.
  void Release();

  /// From here on the block is only read, by any number of holders and threads. It is allocated
  /// by then; whoever wants to write takes another holder (Blob::mutable_cpu_data does).
  void Freeze();
  bool frozen() const { return frozen_; }

  /// Whether the block was allocated here, and does not belong to a caller.
  bool owns_data() const { return own_cpu_data_; }
  SyncedHead head() const { return head_; }
  std::size_t size() const { return size_; }

 private:
  void to_cpu(bool filled = false);

  void* cpu_ptr_;                   // Null until allocated or adopted.
  [[maybe_unused]] void* gpu_ptr_;  // Always null.
  std::size_t size_;                // In bytes.
  SyncedHead head_;                 // HEAD_BEHIND is entered by no code.
  bool own_cpu_data_;               // Whether cpu_ptr_ was allocated here and is freed here.
  bool frozen_;                     // Whether the block is shared by those who only read it.
};

/// While one of these lives, exhausted memory leaves SyncedMemory as std::bad_alloc in the thread
/// that made it, in place of ending the process. What holds the memory is as it was before.
class ThrowWithoutMemory {
 public:
  ThrowWithoutMemory();
  ~ThrowWithoutMemory();
  ThrowWithoutMemory(const ThrowWithoutMemory&) = delete;
  ThrowWithoutMemory& operator=(const ThrowWithoutMemory&) = delete;
};

}  // namespace caffe

#endif  // CAFFE_SYNCEDMEM_HPP_
