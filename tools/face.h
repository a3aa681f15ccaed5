/// What a command found out about one face.

#ifndef OZNA_TOOLS_FACE_H_
#define OZNA_TOOLS_FACE_H_

#include <optional>
#include <string>
#include <vector>

#include "oznakit.hpp"

namespace oznatool {

/// A face in the pixels of its upright photograph.
struct Face {
  oznakit::Box rect;           ///< Edges; not clipped to the photograph.
  std::optional<float> score;  ///< Probability of a face. None for a rectangle that the user gave.
  /// x0, y0, x1, y1, ... of 68 or 5 landmarks; empty where none were asked for.
  std::vector<float> points = {};
  std::string chip = {};  ///< File of the face's chip; empty where none was asked for.
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_FACE_H_
