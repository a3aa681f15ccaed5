// Turning pixels and rectangles.

#include "tools/photograph/orientation.h"

#include <opencv2/core.hpp>
#include <utility>

namespace oznatool {
namespace {

// Flip codes of the image library.
constexpr int kUpsideDown = 0;
constexpr int kMirrored = 1;
constexpr int kHalfTurn = -1;

}  // namespace

bool exchangesSides(int orientation) { return orientation >= 5 && orientation <= 8; }

bool mirrorsColumns(int orientation) {
  return orientation == 2 || orientation == 3 || orientation == 6 || orientation == 7;
}

bool mirrorsRows(int orientation) {
  return orientation == 3 || orientation == 4 || orientation == 7 || orientation == 8;
}

void turnUpright(cv::Mat& pixels, int orientation) {
  if (exchangesSides(orientation)) {
    cv::Mat turned;
    cv::transpose(pixels, turned);
    pixels = turned;
  }
  const bool columns = mirrorsColumns(orientation);
  const bool rows = mirrorsRows(orientation);
  if (columns || rows) {
    cv::flip(pixels, pixels, columns && rows ? kHalfTurn : columns ? kMirrored : kUpsideDown);
  }
}

oznakit::Box inStoredFrame(const oznakit::Box& rect, const cv::Size2f& upright, int orientation) {
  oznakit::Box stored = rect;
  const auto mirror = [&] {
    const float left = stored.left;
    stored.left = upright.width - stored.right;
    stored.right = upright.width - left;
  };
  const auto flip = [&] {
    const float top = stored.top;
    stored.top = upright.height - stored.bottom;
    stored.bottom = upright.height - top;
  };
  // The steps of turnUpright backwards: each flip is its own inverse, and so is the transposition.
  if (mirrorsColumns(orientation)) mirror();
  if (mirrorsRows(orientation)) flip();
  if (exchangesSides(orientation)) {
    std::swap(stored.left, stored.top);
    std::swap(stored.right, stored.bottom);
  }
  return stored;
}

}  // namespace oznatool
