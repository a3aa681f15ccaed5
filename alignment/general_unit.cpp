// Scaling of a face image together with its box and shapes.

#include "alignment/general_unit.h"

#include <opencv2/imgproc.hpp>

#include "alignment/truncation.h"

namespace SDMCore {
namespace {

using oznalib::truncateToInt;

int scaled(int value, float scale) { return truncateToInt(static_cast<float>(value) * scale); }

}  // namespace

void GeneralUnit::normalize(int width) { rescale(width); }

void GeneralUnit::rescale(int width) {
  scale = static_cast<float>(width) / static_cast<float>(box.width);
  const cv::Size size(scaled(image.cols, scale), scaled(image.rows, scale));
  // The factors decide nothing but that a size without area is refused.
  cv::resize(image, image, size, 2.0, 0.0, cv::INTER_LINEAR);
  for (float& coordinate : startShape) {
    coordinate *= scale;
  }
  for (float& coordinate : shape) {
    coordinate *= scale;
  }
  scaleBox();
}

void GeneralUnit::scaleBox() {
  box = cv::Rect(scaled(box.x, scale), scaled(box.y, scale), scaled(box.width, scale),
                 scaled(box.height, scale));
}

void GeneralUnit::unscaleShapes() {
  for (float& coordinate : startShape) {
    coordinate /= scale;
  }
  for (float& coordinate : shape) {
    coordinate /= scale;
  }
}

}  // namespace SDMCore
