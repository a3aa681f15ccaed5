/// What the targets of the two pixel interfaces share: pixels beside memory that nobody may touch,
/// since the image library has no sanitizer in it, and numbers out of an input.

#ifndef OZNA_FUZZ_GUARDED_PIXELS_H_
#define OZNA_FUZZ_GUARDED_PIXELS_H_

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace ozna_fuzz {

/// Memory between two pages without access.
class GuardedBlock {
 public:
  static constexpr std::size_t kBytes = 1 << 20;

  GuardedBlock() {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    void* const block = mmap(nullptr, kBytes + 2 * page, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) std::abort();
    first_ = static_cast<std::uint8_t*>(block) + page;
    if (mprotect(block, page, PROT_NONE) != 0 || mprotect(first_ + kBytes, page, PROT_NONE) != 0) {
      std::abort();
    }
  }
  GuardedBlock(const GuardedBlock&) = delete;
  GuardedBlock& operator=(const GuardedBlock&) = delete;

  /// Behind the first page.
  std::uint8_t* first() const { return first_; }
  /// So many bytes, the last of which lies before the second page.
  std::uint8_t* last(std::size_t bytes) const { return first_ + kBytes - bytes; }

 private:
  std::uint8_t* first_;
};

/// Numbers off the front of an input; zeros behind its end.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

  template <class T>
  T take() {
    T value{};
    if (left_ >= sizeof(T)) {
      std::memcpy(&value, data_, sizeof(T));
      data_ += sizeof(T);
      left_ -= sizeof(T);
    }
    return value;
  }
  /// Repeats what is left of the input.
  void fill(std::uint8_t* bytes, std::size_t count) const {
    for (std::size_t i = 0; i < count; ++i) {
      bytes[i] = left_ == 0 ? static_cast<std::uint8_t>(i * 37) : data_[i % left_];
    }
  }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

}  // namespace ozna_fuzz

#endif  // OZNA_FUZZ_GUARDED_PIXELS_H_
