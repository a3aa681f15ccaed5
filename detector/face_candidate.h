/// The box that travels through the cascade, and the list of them that each step takes and gives.

#ifndef OZNA_DETECTOR_FACE_CANDIDATE_H_
#define OZNA_DETECTOR_FACE_CANDIDATE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace oznalib {

/// A square that may hold a face.
///
/// Pixels are those of the working image while the dense stage makes it and those of the caller's
/// image from the driver's mapping on. Origin at the top left corner of the image.
struct FaceCandidate {
  std::int32_t x = 0;       ///< Left edge.
  std::int32_t y = 0;       ///< Top edge.
  std::int32_t width = 0;   ///< The right edge, x + width, is outside.
  std::int32_t height = 0;  ///< Starts equal to width.
  float score = 0;          ///< Probability of a face, by the last network that judged the box.
  std::int32_t level = 0;   ///< Pyramid level that produced the box. No decision reads it.
};

struct CandidateList {
  std::vector<FaceCandidate> candidates;
  std::string label;  ///< Empty on every path; copied with the list.
};

}  // namespace oznalib

#endif  // OZNA_DETECTOR_FACE_CANDIDATE_H_
