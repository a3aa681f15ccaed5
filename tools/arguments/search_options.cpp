// Presets and the smallest face.

#include "tools/arguments/search_options.h"

#include <charconv>
#include <cmath>

#include "tools/process/exit_code.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

// The ranges of the library, checked before it is called.
constexpr double kLeastPixels = 8;
constexpr double kMostPixels = 100000;
constexpr double kLeastPercent = 0.1;

void require(bool holds, const std::string& message) {
  if (!holds) throw Failure(kExitUsage, message);
}

}  // namespace

const std::vector<std::string>& presetNames() {
  static const std::vector<std::string> names = {"fast", "balanced", "thorough"};
  return names;
}

oznakit::SearchOptions preset(const std::string& name) {
  oznakit::SearchOptions options;
  options.preset = name == "fast"       ? oznakit::Preset::Fast
                   : name == "thorough" ? oznakit::Preset::Thorough
                                        : oznakit::Preset::Balanced;
  options.margin = 0;
  return options;
}

oznakit_scan scanOf(oznakit::Preset preset) {
  oznakit_scan scan = OZNAKIT_SCAN_INIT;
  if (preset == oznakit::Preset::Fast) scan.min_face_fraction = 0.1F;
  return scan;
}

void setMinFace(const std::string& text, oznakit::SearchOptions& options) {
  const bool is_percent = !text.empty() && text.back() == '%';
  double value = 0;
  const char* const end = text.data() + text.size() - (is_percent ? 1 : 0);
  const std::from_chars_result result = std::from_chars(text.data(), end, value);
  const bool is_number = result.ec == std::errc() && result.ptr == end;
  // The comparisons also turn NaN away.
  const bool in_range = is_percent ? value >= kLeastPercent && value <= 100
                                   : value >= kLeastPixels && value <= kMostPixels;
  require(is_number && in_range,
          "--min-face takes 8 to 100000 pixels of the photograph, as 40, or 0.1% to 100% of its "
          "longer side, as 5%, not " +
              printable(text));
  options.min_face_px = is_percent ? 0 : static_cast<float>(value);
  options.min_face_share = is_percent ? value / 100 : 0;
}

void checkScan(const oznakit_scan& scan) {
  require(std::isfinite(scan.max_upscale) && scan.max_upscale > 0,
          "--max-upscale must be a finite number above 0");
  require(scan.min_face_fraction > 0 && scan.min_face_fraction <= 1,
          "--min-face-fraction must be above 0 and at most 1");
  require(scan.pyramid_factor >= 1.01F && scan.pyramid_factor <= 100,
          "--pyramid-factor must be a number from 1.01 to 100");
  require(static_cast<float>(scan.max_image_side) * scan.min_face_fraction >= 1,
          "--max-image-side times --min-face-fraction must be at least 1: it is the side in pixels "
          "of the smallest face");
}

}  // namespace oznatool
