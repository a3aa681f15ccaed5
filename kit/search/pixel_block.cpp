// Mapping and unmapping.

#include "kit/search/pixel_block.h"

#include <algorithm>
#include <new>

#include "caffe/util/mapped_block.hpp"

namespace kit {
namespace {

constexpr std::size_t kPiece = std::size_t{1} << 25;  // In bytes: three milliseconds or so.

}  // namespace

cv::Mat PixelBlock::make(const cv::Size& size) {
  const std::size_t row = 3 * static_cast<std::size_t>(size.width);
  const std::size_t bytes = row * static_cast<std::size_t>(size.height);
  // A search makes one for each tile: their pages are used again.
  if (bytes < kPiece) return cv::Mat(size, CV_8UC3);
  block_ = static_cast<unsigned char*>(caffe::MapBlock(bytes, /*filled=*/false));
  if (block_ == nullptr) throw std::bad_alloc();
  bytes_ = bytes;
  return cv::Mat(size, CV_8UC3, block_, row);
}

void PixelBlock::release(WorkProgress& progress) {
  while (bytes_ > 0) {
    // From the end, whose pieces begin on whole pages.
    unmap(bytes_ % kPiece == 0 ? kPiece : bytes_ % kPiece);
    progress.pause();
  }
}

void PixelBlock::unmap(std::size_t count) noexcept {
  if (count == 0) return;
  bytes_ -= count;
  caffe::UnmapBlock(block_ + bytes_, count);
}

}  // namespace kit
