// Placement of 68 landmarks: the geometry around the regression.

#include "alignment/align68_points.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "alignment/regression.h"
#include "alignment/sdm_model.h"
#include "alignment/truncation.h"
#include "imaging/resize_antialias.h"

namespace oznalib {
namespace {

constexpr int kWindowSide = 250;   // Pixels.
constexpr int kPointFloats = 136;  // x and y of 68 landmarks.
constexpr double kCentralPart =
    0.4545454446934474;  // Of a view's side, for the box that stands in.

cv::Mat wrapPackedRows(const Image& image) {
  CV_Assert(image.width > 0 && image.height > 0);
  // The view is only read; the cast serves the header's interface.
  return cv::Mat(image.height, image.width, CV_8UC3, const_cast<std::uint8_t*>(image.data),
                 3 * static_cast<std::size_t>(image.width));
}

bool hasWidth(const Rectangle<float>& rect) {
  return std::isfinite(rect.left) && std::isfinite(rect.top) && std::isfinite(rect.right) &&
         std::isfinite(rect.bottom) && rect.left < rect.right;
}

bool coversLittle(const cv::Mat& view, const Rectangle<float>& rect) {
  const float half_columns = static_cast<float>(view.cols / 2);
  const float half_rows = static_cast<float>(view.rows / 2);
  return half_columns > rect.right - rect.left || half_rows > rect.bottom - rect.top;
}

// Cuts view to the rectangle and half its size around it, and moves rect into the cut view.
void cutAround(cv::Mat& view, Rectangle<float>& rect, AlignmentWindow& window) {
  const float columns = static_cast<float>(view.cols);
  const float rows = static_cast<float>(view.rows);
  const float margin_x = (rect.right - rect.left) * 0.5f;
  const float margin_y = (rect.bottom - rect.top) * 0.5f;
  const float left = std::max(rect.left - margin_x, 0.0f);
  const float top = std::max(rect.top - margin_y, 0.0f);
  float right = margin_x + rect.right;
  if (!(columns > right)) {
    right = static_cast<float>(view.cols - 1);
  }
  float bottom = margin_y + rect.bottom;
  if (!(rows > bottom)) {
    bottom = static_cast<float>(view.rows - 1);
  }
  view = view(cv::Rect(truncateToInt(left), truncateToInt(top), truncateToInt(right - left),
                       truncateToInt(bottom - top)));
  // The fraction that the cut drops stays in the coordinates, here and on the way back.
  rect = {rect.left - left, rect.top - top, rect.right - left, rect.bottom - top};
  window.crop_left = left;
  window.crop_top = top;
}

// Brings the view to the window's size and rect along with it.
void scaleToWindow(const cv::Mat& view, Rectangle<float>& rect, AlignmentWindow& window) {
  window.image = view;
  if (view.cols == kWindowSide && view.rows == kWindowSide) {
    return;
  }
  window.image = resize_antialias(view, cv::Size(kWindowSide, kWindowSide));
  window.scale_x = static_cast<float>(kWindowSide) / static_cast<float>(view.cols);
  window.scale_y = static_cast<float>(kWindowSide) / static_cast<float>(view.rows);
  rect.left *= window.scale_x;
  rect.right *= window.scale_x;
  rect.top *= window.scale_y;
  rect.bottom *= window.scale_y;
}

cv::Rect integerBox(const Rectangle<float>& rect) {
  return cv::Rect(truncateToInt(rect.left), truncateToInt(rect.top),
                  truncateToInt(rect.right - rect.left), truncateToInt(rect.bottom - rect.top));
}

// Measured in the view as it is before it is scaled, although it is used in the scaled window.
cv::Rect centredBox(const cv::Mat& view) {
  const int width = truncateToInt(view.cols * kCentralPart);
  const int height = truncateToInt(view.rows * kCentralPart);
  return cv::Rect(truncateToInt((view.cols - width) * 0.5),
                  truncateToInt((view.rows - height) * 0.5), width, height);
}

// What the regression is trained on is wider than a detected face by a fifth, of which a quarter
// lies to the left, and starts lower: all that it grows in height, and more, lies below.
cv::Rect faceBox(const cv::Rect& box) {
  const float margin_x = static_cast<float>(box.width) * 0.1f;
  const float margin_y = static_cast<float>(box.height) * 0.15f;
  return cv::Rect(truncateToInt(static_cast<double>(box.x) - static_cast<double>(margin_x) * 0.5),
                  truncateToInt(static_cast<float>(box.y) + margin_y),
                  truncateToInt(static_cast<float>(box.width) + 2.0f * margin_x),
                  truncateToInt(static_cast<float>(box.height) + 2.0f * margin_y));
}

bool canPlace68(const SDMModel* model) {
  return model != nullptr && model->meanShape.size() >= kPointFloats && isUsable(*model);
}

}  // namespace

AlignmentWindow cutAlignmentWindow(const Image& image, const Rectangle<float>& rect) {
  cv::Mat view = wrapPackedRows(image);
  Rectangle<float> face = rect;
  AlignmentWindow window;
  const bool has_width = hasWidth(rect);
  if (has_width && coversLittle(view, face)) {
    cutAround(view, face, window);
  }
  // A view may lose all its columns or rows and still be a valid header.
  CV_Assert(view.cols > 0 && view.rows > 0);
  scaleToWindow(view, face, window);
  const bool still_has_width = has_width && face.left < face.right;
  window.box = faceBox(still_has_width ? integerBox(face) : centredBox(view));
  return window;
}

SDMCore::GeneralUnit makeGreyUnit(const AlignmentWindow& window) {
  SDMCore::GeneralUnit unit;
  cv::cvtColor(window.image, unit.image, cv::COLOR_RGB2GRAY);
  unit.box = window.box;
  return unit;
}

void mapToPhotograph(const AlignmentWindow& window, const std::vector<float>& in_window, int count,
                     std::vector<float>& points) {
  points.resize(static_cast<std::size_t>(count));
  for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
    points[i] = in_window[i] / window.scale_x + window.crop_left;
    points[i + 1] = in_window[i + 1] / window.scale_y + window.crop_top;
  }
}

std::vector<float> mapToWindow(const AlignmentWindow& window, const std::vector<float>& points) {
  std::vector<float> in_window(points.size());
  for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
    in_window[i] = (points[i] - window.crop_left) * window.scale_x;
    in_window[i + 1] = (points[i + 1] - window.crop_top) * window.scale_y;
  }
  return in_window;
}

Status placeLandmarks68(const Image& image, const Rectangle<float>& rect,
                        std::vector<float>& points) {
  points.assign(kPointFloats, 0.0f);
  const SDMModel* model = globalSDMModel();
  if (!canPlace68(model)) {
    return StatusOk;
  }
  const AlignmentWindow window = cutAlignmentWindow(image, rect);
  SDMCore::GeneralUnit unit = makeGreyUnit(window);
  const std::vector<float> landmarks = fitShape(*model, unit);
  if (landmarks.size() >= kPointFloats) {
    mapToPhotograph(window, landmarks, kPointFloats, points);
  }
  return StatusOk;
}

}  // namespace oznalib
