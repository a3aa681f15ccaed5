// Turns of rectangles and points.

#include "kit/pixels/quarter_turns.h"

namespace kit {

using Rect = oznalib::Rectangle<float>;

Rect turnedRect(const Rect& rect, const cv::Size& size, int turns) {
  const auto width = static_cast<float>(size.width);
  const auto height = static_cast<float>(size.height);
  switch (turns & 3) {
    case 1:
      return {height - rect.bottom, rect.left, height - rect.top, rect.right};
    case 2:
      return {width - rect.right, height - rect.bottom, width - rect.left, height - rect.top};
    case 3:
      return {rect.top, width - rect.right, rect.bottom, width - rect.left};
    default:
      return rect;
  }
}

Rect unturnedRect(const Rect& rect, const cv::Size& size, int turns) {
  const bool exchanges = (turns & 1) != 0;
  return turnedRect(rect, exchanges ? cv::Size(size.height, size.width) : size, -turns);
}

cv::Point2f unturnedPoint(const cv::Point2f& point, const cv::Size& size, int turns) {
  const auto last_x = static_cast<float>(size.width - 1);
  const auto last_y = static_cast<float>(size.height - 1);
  switch (turns & 3) {
    case 1:
      return {point.y, last_y - point.x};
    case 2:
      return {last_x - point.x, last_y - point.y};
    case 3:
      return {last_x - point.y, point.x};
    default:
      return point;
  }
}

}  // namespace kit
