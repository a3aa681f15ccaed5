/// Reads the annotated faces of a landmark data folder.

#ifndef OZNA_TRAINING_ALIGNMENT_DATASET_H_
#define OZNA_TRAINING_ALIGNMENT_DATASET_H_

#include <string>
#include <vector>

#include "training/alignment/shapes.h"

namespace alignment_training {

/// One annotated face, one photograph.
struct LandmarkFace {
  std::string image;  // Path below the data folder; also the key of box files.
  bool manual;        // Placed by hand; otherwise tracked through a video, which is noisier.
  Shape points;       // In pixels of the photograph.
};

/// Reads folder/split.jsonl: one JSON object per line with "image", "quality" ("manual" or "tracked")
/// and "points", 68 pairs. Throws std::runtime_error that names the file and the line.
std::vector<LandmarkFace> readLandmarkFaces(const std::string& folder, const std::string& split);

/// Takes every n-th face, the n-th first, out of the list and returns those that it took.
std::vector<LandmarkFace> holdOut(int n, std::vector<LandmarkFace>& faces);

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_DATASET_H_
