/// How a host wants pictures searched, before any picture is known.

#ifndef OZNA_KIT_SEARCH_SEARCH_REQUEST_H_
#define OZNA_KIT_SEARCH_SEARCH_REQUEST_H_

#include <cstdint>
#include <optional>

#include "kit/oznakit.h"
#include "ozna.h"

namespace kit {

/// The smallest face to find.
struct MinFace {
  double value;
  bool is_share;  ///< Of the picture's longer side; otherwise pixels of the picture.
};

/// oznakit_search_options, looked through.
struct SearchRequest {
  /// Errors  Error with OZNAKIT_BAD_ARGUMENT where a field is out of range or two exclude each
  ///         other.
  explicit SearchRequest(const oznakit_search_options& options);

  /// How the whole picture is scanned where min_face is not set.
  oznalib::CascadeParameter parameter;
  /// Overrides the sizes in parameter. A picture that is too large to be scanned for such faces at
  /// once is scanned in overlapping tiles.
  std::optional<MinFace> min_face;
  double margin = 0;            ///< Of the longer side.
  bool is_margin_auto = false;  ///< Then margin is 0.
  int turns = 1;
  float least_score = 0;
  int max_faces = 0;  ///< 0 for all.
  std::int32_t with = 0;
};

/// The smallest face in pixels of a picture with this longer side. At least 8.
int minFacePixels(const MinFace& min_face, int longer_side_px);

/// Errors  Error with OZNAKIT_BAD_ARGUMENT where it is no sum of OZNAKIT_WITH_... that may be asked
/// for.
void requireWith(std::int32_t with);

}  // namespace kit

#endif  // OZNA_KIT_SEARCH_SEARCH_REQUEST_H_
