/// Memory that is going to be needed soon, asked for a little at a time beside other work.

#ifndef OZNA_ALIGNMENT_MEMORY_AHEAD_H_
#define OZNA_ALIGNMENT_MEMORY_AHEAD_H_

#include <cstddef>

namespace SDMCore {

/// A part of the memory on its way into the cache of the core. Asked for at once, it fills the
/// core's queue of outstanding lines, and what does not fit is dropped or waited for; asked for
/// line by line between arithmetic, it comes in meanwhile.
class MemoryAhead {
 public:
  MemoryAhead() = default;

  /// count floats from start on, which are never read here.
  MemoryAhead(const float* start, std::size_t count) : next_(start), left_(count) {}

  /// Asks for the next lines, without waiting for them.
  void askForSome() {
#if defined(__GNUC__)
    for (std::size_t i = 0; i < kLinesAtOnce && left_ > 0; ++i) {
      __builtin_prefetch(next_);
      const std::size_t step = left_ < kLineFloats ? left_ : kLineFloats;
      next_ += step;
      left_ -= step;
    }
#endif
  }

 private:
  static constexpr std::size_t kLineFloats = 16;
  static constexpr std::size_t kLinesAtOnce = 6;

  const float* next_ = nullptr;
  std::size_t left_ = 0;
};

}  // namespace SDMCore

#endif  // OZNA_ALIGNMENT_MEMORY_AHEAD_H_
