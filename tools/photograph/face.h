/// What a command found out about one face.

#ifndef OZNA_TOOLS_PHOTOGRAPH_FACE_H_
#define OZNA_TOOLS_PHOTOGRAPH_FACE_H_

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "oznakit.hpp"

namespace oznatool {

/// What follows from the landmarks of a face: as oznakit_face has them, NaN where one is not known.
struct FaceDetails {
  float quality, roll, yaw, pitch, left_eye, right_eye, sharpness;
};

/// The names of the details in the data, in the order of the members.
constexpr std::array<const char*, 7> kDetailNames = {"quality",  "roll",      "yaw",      "pitch",
                                                     "left_eye", "right_eye", "sharpness"};
inline std::array<float, 7> numbersOf(const FaceDetails& details) {
  return {details.quality,  details.roll,      details.yaw,      details.pitch,
          details.left_eye, details.right_eye, details.sharpness};
}

/// A face in the pixels of its upright photograph.
struct Face {
  oznakit::Box rect;           ///< Edges; not clipped to the photograph.
  std::optional<float> score;  ///< Probability of a face. None for a rectangle that the user gave.
  /// x0, y0, x1, y1, ... of 68 or 5 landmarks; empty where none were asked for.
  std::vector<float> points = {};
  int turn = 0;  ///< Quarter turns clockwise that bring the face upright.
  std::optional<FaceDetails> details = {};  ///< Where they were asked for.
  std::string chip = {};  ///< File of the face's chip; empty where none was asked for.
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_FACE_H_
