/// Views of a training photograph: as it is, or mirrored, turned, cut, rescaled, compressed.

#ifndef OZNA_TRAINING_DETECTOR_MINE_VIEWS_H_
#define OZNA_TRAINING_DETECTOR_MINE_VIEWS_H_

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "training/detector/mine/photographs.h"

namespace detector_training {

struct View {
  cv::Mat rgb;                    ///< 8-bit, red, green, blue, rows packed.
  std::vector<FaceSquare> faces;  ///< In pixels of rgb.
};

/// Makes one view of a photograph.
///
/// variant  0: the photograph as it is. Others: mirrored (half of them), turned by up to 30 degrees
///          (a squared upright face turns into a squared tilted one), cut to a part around one of
///          its faces, rescaled by 0.6 to 1.3, a quarter of them in deep shade, and now and then
///          blurred, darkened or compressed; all at random.
/// seed     The same seed, photograph and variant give the same view.
View makeView(const cv::Mat& rgb, const std::vector<FaceSquare>& faces, int variant,
              std::uint64_t seed);

/// Shows the one face of a close portrait from further away: 28 to 120 pixels large, with a border
/// of replicated pixels, so that the scan can find it and boxes beside it stay inside. The same
/// seed and view give the same result.
void stepBack(View& view, std::uint64_t seed);

}  // namespace detector_training

#endif  // OZNA_TRAINING_DETECTOR_MINE_VIEWS_H_
