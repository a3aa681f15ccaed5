/// Memory of a large picture, which is given back piece by piece.

#ifndef OZNA_KIT_SEARCH_PIXEL_BLOCK_H_
#define OZNA_KIT_SEARCH_PIXEL_BLOCK_H_

#include <cstddef>
#include <opencv2/core/mat.hpp>

#include "kit/search/work_progress.h"

namespace kit {

/// At most one picture of 8-bit red, green, blue, whose memory is given back in pieces: for 450
/// megabytes at once the system takes 50 milliseconds, in which the host could not be asked whether
/// to continue.
class PixelBlock {
 public:
  PixelBlock() = default;
  ~PixelBlock() { unmap(bytes_); }
  PixelBlock(const PixelBlock&) = delete;
  PixelBlock& operator=(const PixelBlock&) = delete;

  /// A picture of that size, which lives as long as this. Called once. Errors  std::bad_alloc.
  cv::Mat make(const cv::Size& size);

  /// Gives the memory back; the host is asked between pieces. Nothing may use the picture any more.
  void release(WorkProgress& progress);

 private:
  // The last so many bytes.
  void unmap(std::size_t count) noexcept;

  unsigned char* block_ = nullptr;
  std::size_t bytes_ = 0;  // What is still there of it.
};

}  // namespace kit

#endif  // OZNA_KIT_SEARCH_PIXEL_BLOCK_H_
