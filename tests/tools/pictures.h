/// Picture files that the image library cannot make by itself.

#ifndef OZNA_TESTS_TOOLS_PICTURES_H_
#define OZNA_TESTS_TOOLS_PICTURES_H_

#include <opencv2/core/mat.hpp>
#include <string>

namespace ozna_test {

// A picture as a file in the format of an ending, with an Exif orientation: ".jpg", ".png", ".tiff"
// or ".webp". The pixels are stored as they are.
std::string encodedWithOrientation(const std::string& ending, const cv::Mat& picture,
                                   int orientation);

// The pixels that a camera held in this way stores of an upright picture.
cv::Mat asStored(const cv::Mat& upright, int orientation);

// A picture, blue first, as a JPEG file of four inks, as presses take them.
std::string encodedCmyk(const cv::Mat& picture);

// A picture, blue first, as a HEIC file, with a colour profile or without.
std::string encodedHeic(const cv::Mat& picture, const std::string& colour_profile = "");

}  // namespace ozna_test

#endif  // OZNA_TESTS_TOOLS_PICTURES_H_
