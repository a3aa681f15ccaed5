// The working image: one scale from the parameters, one resize, and the way back.

#include "detector/working_image.h"

#include <algorithm>
#include <cstdint>
#include <opencv2/imgproc.hpp>

#include "detector/pixel_truncation.h"

namespace oznalib {

float workingScale(int rows, int columns, const CascadeParameter& parameter) {
  const int longer_side = std::max(rows, columns);
  const float target_side = static_cast<float>(parameter.maxImageSide);
  const int smallest_face = truncateToPixel(target_side * parameter.minFaceFraction);
  const float face_to_window =
      static_cast<float>(parameter.windowSize) / static_cast<float>(smallest_face);
  const float ratio = target_side / static_cast<float>(longer_side);
  if (longer_side > parameter.maxImageSide) {
    return face_to_window * ratio;
  }
  return face_to_window * std::min(parameter.maxUpscale, ratio);
}

WorkingImage makeWorkingImage(const cv::Mat& image, const CascadeParameter& parameter) {
  WorkingImage working;
  working.scale = workingScale(image.rows, image.cols, parameter);
  const cv::Size size(truncateToPixel(static_cast<float>(image.cols) * working.scale),
                      truncateToPixel(static_cast<float>(image.rows) * working.scale));
  cv::resize(image, working.pixels, size, 4.0, 0.0, cv::INTER_LINEAR);
  return working;
}

// The networks are trained on boxes that were cut to whole pixels twice.
void mapToImage(CandidateList& list, float scale) {
  const float reciprocal = 1.0F / scale;
  const auto map = [&](std::int32_t value) {
    return truncateToPixel(static_cast<float>(value) * reciprocal);
  };
  for (FaceCandidate& candidate : list.candidates) {
    candidate.x = map(candidate.x);
    candidate.y = map(candidate.y);
    candidate.width = map(candidate.width);
    candidate.height = map(candidate.height);
  }
}

}  // namespace oznalib
