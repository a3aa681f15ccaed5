// Placement of 68 landmarks: the geometry around the regression.

#include "alignment/align68_points.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "alignment/regression.h"
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

bool coversLittle(const cv::Size& size, const Rectangle<float>& rect) {
  const float half_columns = static_cast<float>(size.width / 2);
  const float half_rows = static_cast<float>(size.height / 2);
  return half_columns > rect.right - rect.left || half_rows > rect.bottom - rect.top;
}

// Cuts to the rectangle and half its size around it, and moves the rectangle into the region.
void cutAround(const cv::Size& size, AlignmentCut& cut) {
  const Rectangle<float> rect = cut.face;
  const float columns = static_cast<float>(size.width);
  const float rows = static_cast<float>(size.height);
  const float margin_x = (rect.right - rect.left) * 0.5F;
  const float margin_y = (rect.bottom - rect.top) * 0.5F;
  const float left = std::max(rect.left - margin_x, 0.0F);
  const float top = std::max(rect.top - margin_y, 0.0F);
  float right = margin_x + rect.right;
  if (!(columns > right)) {
    right = static_cast<float>(size.width - 1);
  }
  float bottom = margin_y + rect.bottom;
  if (!(rows > bottom)) {
    bottom = static_cast<float>(size.height - 1);
  }
  cut.region = cv::Rect(truncateToInt(left), truncateToInt(top), truncateToInt(right - left),
                        truncateToInt(bottom - top));
  // The fraction that the cut drops stays in the coordinates, here and on the way back.
  cut.face = {rect.left - left, rect.top - top, rect.right - left, rect.bottom - top};
  cut.crop_left = left;
  cut.crop_top = top;
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
  const float margin_x = static_cast<float>(box.width) * 0.1F;
  const float margin_y = static_cast<float>(box.height) * 0.15F;
  return cv::Rect(truncateToInt(static_cast<double>(box.x) - static_cast<double>(margin_x) * 0.5),
                  truncateToInt(static_cast<float>(box.y) + margin_y),
                  truncateToInt(static_cast<float>(box.width) + 2.0F * margin_x),
                  truncateToInt(static_cast<float>(box.height) + 2.0F * margin_y));
}

}  // namespace

AlignmentCut planAlignmentCut(const cv::Size& size, const Rectangle<float>& rect) {
  AlignmentCut cut;
  cut.region = cv::Rect(cv::Point(), size);
  cut.face = rect;
  cut.has_face = hasWidth(rect);
  if (cut.has_face && coversLittle(size, rect)) {
    cutAround(size, cut);
  }
  return cut;
}

AlignmentWindow scaleAlignmentWindow(const cv::Mat& pixels, const AlignmentCut& cut) {
  // A view may lose all its columns or rows and still be a valid header.
  CV_Assert(pixels.cols > 0 && pixels.rows > 0);
  AlignmentWindow window;
  window.crop_left = cut.crop_left;
  window.crop_top = cut.crop_top;
  Rectangle<float> face = cut.face;
  scaleToWindow(pixels, face, window);
  const bool still_has_width = cut.has_face && face.left < face.right;
  window.box = faceBox(still_has_width ? integerBox(face) : centredBox(pixels));
  return window;
}

AlignmentWindow cutAlignmentWindow(const Image& image, const Rectangle<float>& rect) {
  const cv::Mat view = wrapPackedRows(image);
  const AlignmentCut cut = planAlignmentCut(view.size(), rect);
  return scaleAlignmentWindow(view(cut.region), cut);
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

bool canPlace68(const SDMModel& model) {
  return model.meanShape.size() >= kPointFloats && isUsable(model);
}

Placement68 placeInWindow(const SDMModel& model, const AlignmentWindow& window) {
  SDMCore::GeneralUnit unit = makeGreyUnit(window);
  Placement68 placement;
  const std::vector<float> landmarks = fitShape(model, unit, &placement.outcomes);
  if (landmarks.size() < kPointFloats) {
    return {};
  }
  mapToPhotograph(window, landmarks, kPointFloats, placement.points);
  for (std::vector<float>& outcome : placement.outcomes) {
    const std::vector<float> in_window = std::move(outcome);
    mapToPhotograph(window, in_window, kPointFloats, outcome);
  }
  return placement;
}

Status placeLandmarks68(const Image& image, const Rectangle<float>& rect,
                        std::vector<float>& points) {
  points.assign(kPointFloats, 0.0F);
  const SDMModel* model = globalSDMModel();
  if (model == nullptr || !canPlace68(*model)) {
    return StatusOk;
  }
  std::vector<float> placed = placeInWindow(*model, cutAlignmentWindow(image, rect)).points;
  if (!placed.empty()) {
    points = std::move(placed);
  }
  return StatusOk;
}

}  // namespace oznalib
