// The bound on reduced decoding.

#include "tools/decoding_reduction.h"

#include <algorithm>

#include "tools/jpeg_photograph.h"
#include "tools/photograph.h"
#include "tools/search_plan.h"

namespace oznatool {
namespace {

constexpr int kLeastBoxSide = 100;       // Two pixels are two percent of it.
constexpr int kLeastLandmarkSide = 125;  // The face in the window of the landmarks.

cv::Size framed(const cv::Size& photograph, int border_px) {
  return {photograph.width + 2 * border_px, photograph.height + 2 * border_px};
}

Size workingSizeOf(const cv::Size& searched, const oznalib::CascadeParameter& parameter) {
  return workingSize({searched.width, searched.height}, parameter);
}

}  // namespace

int leastFaceSide(bool with_landmarks, int last_input_px) {
  return std::max(with_landmarks ? kLeastLandmarkSide : kLeastBoxSide, 2 * last_input_px);
}

double smallestFaceSide(const cv::Size& searched, const oznalib::CascadeParameter& parameter) {
  const Size working = workingSizeOf(searched, parameter);
  const auto working_side = static_cast<double>(std::max(working.width, working.height));
  return parameter.windowSize * std::max(searched.width, searched.height) / working_side;
}

oznalib::CascadeParameter reducedParameter(const oznalib::CascadeParameter& parameter,
                                           int reduction) {
  oznalib::CascadeParameter reduced = parameter;
  reduced.maxUpscale *= static_cast<float>(reduction);
  return reduced;
}

int decodingReduction(const cv::Size& upright, const SearchOptions& options,
                      const Size& first_input, int least_face_px) {
  const int border_px = borderPixels(upright, options.margin_percent);
  const cv::Size searched = framed(upright, border_px);
  const std::vector<Scan> scans =
      planScans(searched, std::max(upright.width, upright.height), options, first_input);
  if (scans.size() != 1) return 1;
  const oznalib::CascadeParameter& parameter = scans.front().parameter;
  const Size working = workingSizeOf(searched, parameter);
  const bool can_be_searched =
      working.width > 0 && working.height > 0 &&
      working.width * working.height <= first_input.width * first_input.height;
  if (!can_be_searched) return 1;
  const double smallest_px = smallestFaceSide(searched, parameter);
  for (const int reduction : {8, 4, 2}) {
    if (smallest_px < static_cast<double>(least_face_px) * reduction) continue;
    const cv::Size reduced =
        framed(reducedSize(upright, reduction), reducedBorder(border_px, reduction));
    const Size reduced_working = workingSizeOf(reduced, reducedParameter(parameter, reduction));
    if (reduced_working.width == working.width && reduced_working.height == working.height) {
      return reduction;
    }
  }
  return 1;
}

}  // namespace oznatool
