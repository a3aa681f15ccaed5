// The working image that follows from parameters.

#include "kit/search/working_size.h"

#include <algorithm>
#include <limits>

namespace kit {
namespace {

constexpr float kIntegerLimit = 2147483648.0F;  // 2^31: from here on a cast to int is undefined.

std::int64_t truncatedSide(float side) {
  return side < kIntegerLimit ? static_cast<std::int32_t>(side)
                              : std::numeric_limits<std::int32_t>::max();
}

float workingScale(const Size& picture, const oznalib::CascadeParameter& parameter) {
  const auto smallest_face = static_cast<std::int32_t>(static_cast<float>(parameter.maxImageSide) *
                                                       parameter.minFaceFraction);
  const float window_scale =
      static_cast<float>(parameter.windowSize) / static_cast<float>(smallest_face);
  const std::int64_t longer_side = std::max(picture.width, picture.height);
  const float ratio = static_cast<float>(parameter.maxImageSide) / static_cast<float>(longer_side);
  return longer_side > parameter.maxImageSide
             ? window_scale * ratio
             : window_scale * std::min(parameter.maxUpscale, ratio);
}

}  // namespace

oznalib::CascadeParameter defaultParameter() {
  oznalib::CascadeParameter parameter;
  parameter.maxUpscale = 2.0F;
  parameter.maxImageSide = 640;
  parameter.minFaceFraction = 0.05F;
  parameter.pyramidLevels = 12;
  parameter.pyramidFactor = 1.26F;
  parameter.windowSize = 13;
  return parameter;
}

Size workingSize(const Size& picture, const oznalib::CascadeParameter& parameter) {
  const float scale = workingScale(picture, parameter);
  return {truncatedSide(static_cast<float>(picture.width) * scale),
          truncatedSide(static_cast<float>(picture.height) * scale)};
}

bool fits(const Size& working, const Size& input) {
  return working.width * working.height <= input.width * input.height;
}

float smallestFace(const Size& picture, const oznalib::CascadeParameter& parameter) {
  return static_cast<float>(parameter.windowSize) / workingScale(picture, parameter);
}

}  // namespace kit
