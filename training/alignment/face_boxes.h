/// Runs the library's detector over photographs of a data folder.

#ifndef OZNA_TRAINING_ALIGNMENT_FACE_BOXES_H_
#define OZNA_TRAINING_ALIGNMENT_FACE_BOXES_H_

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "ozna.h"
#include "training/alignment/rectangles.h"

namespace alignment_training {

/// The library's view of an 8-bit, three-channel picture in the order red, green, blue.
oznalib::Image viewOf(const cv::Mat& rgb);

/// A loaded cascade with the search that landmark data call for. One thread at a time.
class BoxFinder {
 public:
  /// `models` is a folder with stages.txt and cascades/. Throws std::runtime_error where the list
  /// names no stage; a missing network file ends the process.
  explicit BoxFinder(const std::string& models);

  /// The faces found, best first.
  std::vector<FaceRect> find(const cv::Mat& rgb);

 private:
  oznalib::Detector detector_;
};

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_FACE_BOXES_H_
