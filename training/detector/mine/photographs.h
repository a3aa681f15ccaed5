/// Reads the annotated photographs of a detection data folder.

#ifndef OZNA_TRAINING_DETECTOR_MINE_PHOTOGRAPHS_H_
#define OZNA_TRAINING_DETECTOR_MINE_PHOTOGRAPHS_H_

#include <string>
#include <vector>

namespace detector_training {

/// An annotated face, in pixels of the photograph; its top left pixel corner is 0.
struct FaceSquare {
  double cx = 0;
  double cy = 0;
  double side = 0;
  bool ignore = false;  ///< Too blurred, covered or unsure to count either way.
};

struct Photograph {
  std::string path;
  int width = 0;   ///< 0 for a photograph without annotations, whose size nobody wrote down.
  int height = 0;  ///< Likewise.
  std::vector<FaceSquare> faces;
  /// Only one of its faces is annotated, and what lies beside it may be another.
  bool background_unknown = false;
};

/// Reads folder/detection/split.jsonl: one JSON object per line with "image", "width", "height" and
/// "faces", each of "cx", "cy", "side" and "ignore". Throws std::runtime_error that names the file
/// and the line.
std::vector<Photograph> readPhotographs(const std::string& folder, const std::string& split);

/// Reads folder/landmarks/split.jsonl: one JSON object per line with "image", "width", "height" and
/// "points", the 68 landmarks of one face with 0 at the centre of the first pixel. Its square is
/// the one that the detector is to find: from above the brows to just above the tip of the chin.
std::vector<Photograph> readLandmarkPhotographs(const std::string& folder,
                                                const std::string& split);

/// Lists folder/negatives, photographs without a face, in the order of their names.
std::vector<Photograph> listNegatives(const std::string& folder);

/// Parts of the training photographs: those that are fitted, and those that are held back to
/// choose operating points with.
enum class Part { All, Fit, Held };

/// A tenth of all photographs is held back; which ones depends on their names alone.
std::vector<Photograph> takePart(const std::vector<Photograph>& photographs, Part part);

}  // namespace detector_training

#endif  // OZNA_TRAINING_DETECTOR_MINE_PHOTOGRAPHS_H_
