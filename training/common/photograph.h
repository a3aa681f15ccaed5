/// Reads photographs as the library takes them.

#ifndef OZNA_TRAINING_COMMON_PHOTOGRAPH_H_
#define OZNA_TRAINING_COMMON_PHOTOGRAPH_H_

#include <opencv2/core.hpp>
#include <string>

namespace training {

/// Loads a photograph with its channels in the order red, green, blue and its rows packed. Throws
/// std::runtime_error for a file that cannot be read.
cv::Mat readPhotoRgb(const std::string& path);

}  // namespace training

#endif  // OZNA_TRAINING_COMMON_PHOTOGRAPH_H_
