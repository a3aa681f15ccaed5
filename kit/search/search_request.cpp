// Presets, the smallest face, and the ranges of what a host asks for.

#include "kit/search/search_request.h"

#include <algorithm>
#include <cmath>
#include <locale>
#include <sstream>
#include <string>

#include "kit/error.h"
#include "kit/search/working_size.h"
#include "kit/sized.h"

namespace kit {
namespace {

// Below this the second network sees a face enlarged three times, which it was not trained for.
constexpr double kLeastPixels = 8;
constexpr double kMostPixels = 100000;  // No picture is as large.
constexpr double kLeastShare = 0.001;
constexpr double kThoroughPixels = 20;
constexpr std::int32_t kMostSide = 1000000;

std::string textOf(double value) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << value;
  return text.str();
}

// The comparisons turn NaN away too.
void requireRange(const char* field, double value, double least, double most) {
  if (value >= least && value <= most) return;
  throw Error(OZNAKIT_BAD_ARGUMENT, std::string("Expected ") + field + " of " + textOf(least) +
                                        " to " + textOf(most) + ", found " + textOf(value) + ".");
}

void requireAbove0(const char* field, double value) {
  if (std::isfinite(value) && value > 0) return;
  throw Error(OZNAKIT_BAD_ARGUMENT, std::string("Expected ") + field +
                                        " to be a finite number above 0, found " + textOf(value) +
                                        ".");
}

oznalib::CascadeParameter parameterOf(const oznakit_scan& scan) {
  requireAbove0("scan.max_upscale", scan.max_upscale);
  requireRange("scan.max_image_side", scan.max_image_side, 1, kMostSide);
  requireAbove0("scan.min_face_fraction", scan.min_face_fraction);
  requireRange("scan.min_face_fraction", scan.min_face_fraction, 0, 1);
  requireRange("scan.pyramid_levels", scan.pyramid_levels, 1, 1000);
  requireRange("scan.pyramid_factor", scan.pyramid_factor, 1.01F, 100);
  requireRange("scan.window_size", scan.window_size, 4, 10000);
  const float smallest = static_cast<float>(scan.max_image_side) * scan.min_face_fraction;
  if (!(smallest >= 1)) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected scan.max_image_side times scan.min_face_fraction, the side of the "
                "smallest face, to be at least 1, found " +
                    textOf(smallest) + ".");
  }
  oznalib::CascadeParameter parameter;
  parameter.maxUpscale = scan.max_upscale;
  parameter.maxImageSide = scan.max_image_side;
  parameter.minFaceFraction = scan.min_face_fraction;
  parameter.pyramidLevels = scan.pyramid_levels;
  parameter.pyramidFactor = scan.pyramid_factor;
  parameter.windowSize = scan.window_size;
  return parameter;
}

}  // namespace

SearchRequest::SearchRequest(const oznakit_search_options& options)
    : parameter(defaultParameter()) {
  requireSize(options, "oznakit_search_options");
  requireRange("preset", options.preset, OZNAKIT_BALANCED, OZNAKIT_THOROUGH);
  if (options.preset == OZNAKIT_FAST) parameter.minFaceFraction = 0.1F;
  if (options.preset == OZNAKIT_THOROUGH) min_face = MinFace{kThoroughPixels, /*is_share=*/false};
  const bool has_pixels = options.min_face_px != 0;
  const bool has_share = options.min_face_share != 0;
  if (has_pixels + has_share + (options.scan != nullptr) > 1) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected one of min_face_px, min_face_share and scan, found more than one.");
  }
  if (has_pixels) {
    requireRange("min_face_px", options.min_face_px, kLeastPixels, kMostPixels);
    min_face = MinFace{options.min_face_px, /*is_share=*/false};
  }
  if (has_share) {
    requireRange("min_face_share", options.min_face_share, kLeastShare, 1);
    min_face = MinFace{options.min_face_share, /*is_share=*/true};
  }
  if (options.scan != nullptr) {
    parameter = parameterOf(*options.scan);
    min_face.reset();
  }
  if (options.turns != 1 && options.turns != 4) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected turns to be 1 or 4, found " + std::to_string(options.turns) + ".");
  }
  turns = options.turns;
  is_margin_auto = options.margin == OZNAKIT_MARGIN_AUTO;
  if (!is_margin_auto) {
    requireRange("margin", options.margin, 0, 1);
    margin = options.margin;
  }
  requireRange("least_score", options.least_score, 0, 1);
  least_score = options.least_score;
  requireRange("max_faces", options.max_faces, 0, 2147483647);
  max_faces = options.max_faces;
  requireWith(options.with);
  with = options.with;
}

int minFacePixels(const MinFace& min_face, int longer_side_px) {
  if (!min_face.is_share) return static_cast<int>(min_face.value);
  return std::max(static_cast<int>(kLeastPixels),
                  static_cast<int>(min_face.value * longer_side_px));
}

void requireWith(std::int32_t with) {
  constexpr std::int32_t kPoints = OZNAKIT_WITH_POINTS_68 | OZNAKIT_WITH_POINTS_5;
  if (with < 0 || with > (kPoints | OZNAKIT_WITH_DETAILS) || (with & kPoints) == kPoints) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected with to be a sum of OZNAKIT_WITH_..., 68 or 5 points and not both, "
                "found " +
                    std::to_string(with) + ".");
  }
}

}  // namespace kit
