/// A face as the rooms of the kit hand it to each other.

#ifndef OZNA_KIT_FACES_FACE_H_
#define OZNA_KIT_FACES_FACE_H_

#include <limits>
#include <vector>

#include "ozna.h"

namespace kit {

constexpr float kUnknown = std::numeric_limits<float>::quiet_NaN();

/// In pixels of the upright picture; the fields mean what those of oznakit_face do.
struct Face {
  oznalib::Rectangle<float> rect = {};
  float score = kUnknown;
  int turn = 0;
  std::vector<float> points = {};  ///< x0, y0, ... of 68 or 5 landmarks, or nothing.
  float quality = kUnknown;
  float roll = kUnknown;
  float yaw = kUnknown;
  float pitch = kUnknown;
  float left_eye = kUnknown;
  float right_eye = kUnknown;
  float sharpness = kUnknown;
};

}  // namespace kit

#endif  // OZNA_KIT_FACES_FACE_H_
