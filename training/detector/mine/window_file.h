/// The file of training windows that the miner writes and the fitting reads.

#ifndef OZNA_TRAINING_DETECTOR_MINE_WINDOW_FILE_H_
#define OZNA_TRAINING_DETECTOR_MINE_WINDOW_FILE_H_

#include <cstdint>
#include <fstream>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace detector_training {

/// What is known about a window. All values are 32-bit floats, written in this order.
struct WindowLabel {
  float photograph = 0;       ///< Index within the run.
  float variant = 0;          ///< View of the photograph.
  float x = 0;                ///< Left edge of the box, in pixels of the view.
  float y = 0;                ///< Top edge.
  float side = 0;             ///< Of the box.
  float score = 0;            ///< Of the last network that judged the box; -1 if none did.
  float overlap = 0;          ///< With the best face that counts.
  float ignored_overlap = 0;  ///< With the best face that does not.
  float face = -1;            ///< Index of the best face that counts; -1 without one.
  float face_x = 0;     ///< Left edge of that face's square, in pixels of the view; 0 without.
  float face_y = 0;     ///< Top edge.
  float face_side = 0;  ///< Side.
};

/// One window: the pixels that a network sees, and its label.
struct Window {
  cv::Mat pixels;  ///< 8-bit, 3 channels, as cut from the view.
  WindowLabel label;
};

/// Writes PREFIX.u8, the pixels in the order of a network's input (plane 0 is the third byte of a
/// pixel), PREFIX.f32, the labels, and, when closed, PREFIX.json, which has the counts: without it
/// the other two are incomplete. Errors are std::runtime_error.
class WindowFile {
 public:
  WindowFile(const std::string& prefix, int side);

  void append(const std::vector<Window>& windows);
  void close();

  std::int64_t count() const { return count_; }

 private:
  std::string prefix_;
  int side_;
  std::int64_t count_ = 0;
  std::ofstream pixels_;
  std::ofstream labels_;
};

}  // namespace detector_training

#endif  // OZNA_TRAINING_DETECTOR_MINE_WINDOW_FILE_H_
