// Turning pixels and rectangles.

#include "tools/orientation.h"

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

void turnUpright(cv::Mat& pixels, int orientation) {
  if (exchangesSides(orientation)) {
    cv::Mat turned;
    cv::transpose(pixels, turned);
    pixels = turned;
  }
  switch (orientation) {
    case 2:
    case 6:
      cv::flip(pixels, pixels, kMirrored);
      break;
    case 3:
    case 7:
      cv::flip(pixels, pixels, kHalfTurn);
      break;
    case 4:
    case 8:
      cv::flip(pixels, pixels, kUpsideDown);
      break;
    default:
      break;
  }
}

oznalib::Rectangle<float> inStoredFrame(const oznalib::Rectangle<float>& rect,
                                        const cv::Size2f& upright, int orientation) {
  oznalib::Rectangle<float> stored = rect;
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
  if (orientation == 2 || orientation == 6 || orientation == 3 || orientation == 7) mirror();
  if (orientation == 4 || orientation == 8 || orientation == 3 || orientation == 7) flip();
  if (exchangesSides(orientation)) {
    std::swap(stored.left, stored.top);
    std::swap(stored.right, stored.bottom);
  }
  return stored;
}

}  // namespace oznatool
