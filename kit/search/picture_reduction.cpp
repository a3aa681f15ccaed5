// The bound on reduced decoding.

#include "kit/search/picture_reduction.h"

#include <algorithm>
#include <vector>

#include "kit/search/auto_margin.h"
#include "kit/search/framed_picture.h"
#include "kit/search/search_plan.h"

namespace kit {
namespace {

constexpr int kLeastBoxSide = 100;       // Two pixels are two percent of it.
constexpr int kLeastLandmarkSide = 125;  // The face in the window of the landmarks.

Size workingSizeOf(const cv::Size& searched, const oznalib::CascadeParameter& parameter) {
  return workingSize({searched.width, searched.height}, parameter);
}

// Side in pixels of the smallest face, from the working image as it is, which is cut to whole
// pixels.
double smallestFaceSide(const cv::Size& searched, const Size& working, int window_px) {
  const auto working_side = static_cast<double>(std::max(working.width, working.height));
  return window_px * std::max(searched.width, searched.height) / working_side;
}

}  // namespace

int leastFaceSide(bool with_landmarks, int last_input_px) {
  return std::max(with_landmarks ? kLeastLandmarkSide : kLeastBoxSide, 2 * last_input_px);
}

cv::Size reducedSize(const cv::Size& picture, int reduction) {
  // A plan may be asked for the largest sides that there are: nothing is added before the division.
  const auto reduced = [reduction](int side) {
    return side / reduction + (side % reduction == 0 ? 0 : 1);
  };
  return {reduced(picture.width), reduced(picture.height)};
}

ReducedSearch reducedSearch(const cv::Size& upright, const SearchRequest& request,
                            const Size& first_input, int least_face_px) {
  // A margin may follow, which is a share of the picture as it is.
  if (request.is_margin_auto && isPortraitLike(upright)) return {};
  const int border_px = borderPixels(upright, request.margin);
  const cv::Size searched = framedSize(upright, border_px);
  const std::vector<Scan> scans =
      planScans(searched, std::max(upright.width, upright.height), request, first_input);
  if (scans.size() != 1) return {};
  const oznalib::CascadeParameter& parameter = scans.front().parameter;
  const Size working = workingSizeOf(searched, parameter);
  if (working.width == 0 || working.height == 0 || !fits(working, first_input)) return {};
  const double smallest_px = smallestFaceSide(searched, working, parameter.windowSize);
  for (const int reduction : {8, 4, 2}) {
    if (smallest_px < static_cast<double>(least_face_px) * reduction) continue;
    const cv::Size reduced = reducedSize(upright, reduction);
    const int reduced_border = (border_px + reduction / 2) / reduction;
    // A picture that is shorter than maxImageSide may have to be enlarged by more.
    oznalib::CascadeParameter enlarging = parameter;
    enlarging.maxUpscale *= static_cast<float>(reduction);
    const Size seen = workingSizeOf(framedSize(reduced, reduced_border), enlarging);
    if (seen.width == working.width && seen.height == working.height) {
      return {reduction, enlarging,
              static_cast<double>(reduced_border) / std::max(reduced.width, reduced.height)};
    }
  }
  return {};
}

}  // namespace kit
