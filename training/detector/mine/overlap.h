/// How boxes of the detector lie on annotated faces.

#ifndef OZNA_TRAINING_DETECTOR_MINE_OVERLAP_H_
#define OZNA_TRAINING_DETECTOR_MINE_OVERLAP_H_

#include <vector>

#include "detector/face_candidate.h"
#include "training/detector/mine/photographs.h"

namespace detector_training {

/// Intersection over union of a box and a square.
double overlap(const oznalib::FaceCandidate& box, const FaceSquare& face);

/// The face that a box overlaps most.
struct BestFace {
  int face = -1;       ///< Index; -1 where no face is touched.
  double overlap = 0;  ///< With that face.
};

/// Looks among the faces that are ignored, or among those that are not.
BestFace bestFace(const oznalib::FaceCandidate& box, const std::vector<FaceSquare>& faces,
                  bool ignored);

}  // namespace detector_training

#endif  // OZNA_TRAINING_DETECTOR_MINE_OVERLAP_H_
