// Presets and the smallest face.

#include "tools/search_options.h"

#include <algorithm>
#include <charconv>

#include "tools/exit_code.h"
#include "tools/streams.h"
#include "tools/working_size.h"

namespace oznatool {
namespace {

// Below this the second network sees a face enlarged three times, which it was not trained for.
constexpr double kLeastPixels = 8;
constexpr double kMostPixels = 100000;  // No photograph is as large.
constexpr double kLeastPercent = 0.1;

}  // namespace

const std::vector<std::string>& presetNames() {
  static const std::vector<std::string> names = {"fast", "balanced", "thorough"};
  return names;
}

SearchOptions preset(const std::string& name) {
  SearchOptions options;
  options.parameter = defaultParameter();
  if (name == "fast") options.parameter.minFaceFraction = 0.1F;
  if (name == "thorough") options.min_face = MinFace{20, /*is_percent=*/false};
  return options;
}

MinFace parseMinFace(const std::string& text) {
  MinFace min_face{0, !text.empty() && text.back() == '%'};
  const char* const end = text.data() + text.size() - (min_face.is_percent ? 1 : 0);
  const std::from_chars_result result = std::from_chars(text.data(), end, min_face.value);
  const bool is_number = result.ec == std::errc() && result.ptr == end;
  // The comparisons also turn not-a-number away.
  const bool in_range = min_face.is_percent
                            ? min_face.value >= kLeastPercent && min_face.value <= 100
                            : min_face.value >= kLeastPixels && min_face.value <= kMostPixels;
  if (!is_number || !in_range) {
    throw Failure(kExitUsage,
                  "--min-face takes 8 to 100000 pixels of the photograph, as 40, or 0.1% to 100% "
                  "of its longer side, as 5%, not " +
                      printable(text));
  }
  return min_face;
}

int minFacePixels(const MinFace& min_face, int longer_side_px) {
  if (!min_face.is_percent) return static_cast<int>(min_face.value);
  return std::max(static_cast<int>(kLeastPixels),
                  static_cast<int>(min_face.value / 100 * longer_side_px));
}

}  // namespace oznatool
