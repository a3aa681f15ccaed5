// Search parameters and the working image that follows from them.

#include "tools/working_size.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "tools/exit_code.h"

namespace oznatool {
namespace {

constexpr float kIntegerLimit = 2147483648.0F;  // 2^31: from here on a cast to int is undefined.

void require(bool holds, const std::string& message) {
  if (!holds) throw Failure(kExitUsage, message);
}

std::int64_t truncatedSide(float side) {
  return side < kIntegerLimit ? static_cast<std::int32_t>(side)
                              : std::numeric_limits<std::int32_t>::max();
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

void checkParameter(const oznalib::CascadeParameter& parameter) {
  require(std::isfinite(parameter.maxUpscale) && parameter.maxUpscale > 0,
          "--max-upscale must be a finite number above 0");
  require(parameter.maxImageSide > 0, "--max-image-side must be above 0");
  require(std::isfinite(parameter.minFaceFraction) && parameter.minFaceFraction > 0 &&
              parameter.minFaceFraction <= 1,
          "--min-face-fraction must be above 0 and at most 1");
  require(parameter.pyramidLevels > 0, "--pyramid-levels must be above 0");
  require(std::isfinite(parameter.pyramidFactor) && parameter.pyramidFactor > 1,
          "--pyramid-factor must be a finite number above 1");
  require(parameter.windowSize > 0, "--window-size must be above 0");

  const float smallest_face =
      static_cast<float>(parameter.maxImageSide) * parameter.minFaceFraction;
  require(smallest_face >= 1,
          "--max-image-side times --min-face-fraction must be at least 1: it is the side in pixels "
          "of the smallest face");
  require(smallest_face < kIntegerLimit, "--max-image-side times --min-face-fraction is too large");
}

Size workingSize(const Size& photograph, const oznalib::CascadeParameter& parameter) {
  const auto smallest_face = static_cast<std::int32_t>(static_cast<float>(parameter.maxImageSide) *
                                                       parameter.minFaceFraction);
  const float window_scale =
      static_cast<float>(parameter.windowSize) / static_cast<float>(smallest_face);
  const std::int64_t longer_side = std::max(photograph.width, photograph.height);
  const float ratio = static_cast<float>(parameter.maxImageSide) / static_cast<float>(longer_side);
  const float scale = longer_side > parameter.maxImageSide
                          ? window_scale * ratio
                          : window_scale * std::min(parameter.maxUpscale, ratio);
  return {truncatedSide(static_cast<float>(photograph.width) * scale),
          truncatedSide(static_cast<float>(photograph.height) * scale)};
}

}  // namespace oznatool
