/// How the user wants photographs searched, before any photograph is known.

#ifndef OZNA_TOOLS_SEARCH_OPTIONS_H_
#define OZNA_TOOLS_SEARCH_OPTIONS_H_

#include <optional>
#include <string>
#include <vector>

#include "ozna.h"

namespace oznatool {

/// The smallest face to find.
struct MinFace {
  double value;
  bool is_percent;  ///< Of the photograph's longer side; otherwise pixels of the photograph.
};

struct SearchOptions {
  /// How the whole photograph is scanned where min_face is not set.
  oznalib::CascadeParameter parameter;
  /// Overrides the sizes in parameter. A photograph that is too large to be scanned for such faces
  /// at once is scanned in overlapping tiles.
  std::optional<MinFace> min_face;
  /// Border put around the photograph before the search, in percent of its longer side.
  double margin_percent = 0;
};

/// The names of the presets, quickest first.
const std::vector<std::string>& presetNames();

/// What a preset stands for. name  One of presetNames.
SearchOptions preset(const std::string& name);

/// Reads "40" (pixels) or "5%". Throws Failure with kExitUsage where the text is neither, or out of
/// range, and tells what would be accepted.
MinFace parseMinFace(const std::string& text);

/// The smallest face in pixels of a photograph with this longer side. At least 8.
int minFacePixels(const MinFace& min_face, int longer_side_px);

}  // namespace oznatool

#endif  // OZNA_TOOLS_SEARCH_OPTIONS_H_
