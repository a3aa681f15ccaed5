// Regions with border.

#include "kit/search/framed_picture.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>

namespace kit {
namespace {

constexpr int kBandPixels = 1 << 18;  // A millisecond or two of copying.

// A part of a side with the border before and behind it.
struct Span {
  int begin, end;  // Within the side, at least one pixel.
  int before, behind;
};

// The part [begin, begin + length) of a side with a border, begin counted from the side's start.
Span spanOf(int begin, int length, int side) {
  Span span = {};
  span.begin = std::clamp(begin, 0, side - 1);
  span.end = std::clamp(begin + length, span.begin + 1, side);
  span.before = std::clamp(-begin, 0, length - 1);
  span.behind = length - span.before - (span.end - span.begin);
  return span;
}

// Copies one row of a matrix over others, asking between bands.
void repeatRow(int from, int first, int last, WorkProgress& progress, cv::Mat& image) {
  const int band_rows = std::max(1, kBandPixels / image.cols);
  for (int row = first; row < last; ++row) {
    image.row(from).copyTo(image.row(row));
    if ((row - first) % band_rows == 0) progress.pause();
  }
}

}  // namespace

cv::Size FramedPicture::size() const { return framedSize(picture_.size(), border_px_); }

cv::Mat FramedPicture::rgb(const cv::Rect& region, WorkProgress& progress,
                           PixelBlock& block) const {
  const Span columns = spanOf(region.x - border_px_, region.width, picture_.size().width);
  const Span rows = spanOf(region.y - border_px_, region.height, picture_.size().height);
  const cv::Rect inner(columns.begin, rows.begin, columns.end - columns.begin,
                       rows.end - rows.begin);
  const bool has_border = inner.size() != region.size();
  // A header on the host's pixels holds no memory of its own.
  const bool is_shared = picture_.rgb(cv::Rect(inner.x, inner.y, 1, 1)).u == nullptr;
  if (!has_border && is_shared) return picture_.rgb(inner);

  cv::Mat copy = block.make(region.size());
  const int band_rows = std::max(1, kBandPixels / inner.width);
  for (int row = 0; row < inner.height; row += band_rows) {
    const cv::Rect band(inner.x, inner.y + row, inner.width,
                        std::min(band_rows, inner.height - row));
    cv::Mat target = copy.rowRange(rows.before + row, rows.before + row + band.height);
    cv::copyMakeBorder(picture_.rgb(band), target, 0, 0, columns.before, columns.behind,
                       cv::BORDER_REPLICATE | cv::BORDER_ISOLATED);
    progress.pause();
  }
  repeatRow(rows.before, 0, rows.before, progress, copy);
  repeatRow(region.height - rows.behind - 1, region.height - rows.behind, region.height, progress,
            copy);
  return copy;
}

int borderPixels(const cv::Size& picture, double margin) {
  return static_cast<int>(std::lround(margin * std::max(picture.width, picture.height)));
}

cv::Size framedSize(const cv::Size& picture, int border_px) {
  return picture + cv::Size(2 * border_px, 2 * border_px);
}

}  // namespace kit
