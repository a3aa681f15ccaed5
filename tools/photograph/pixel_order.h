/// The two orders of the colours in a pixel: red first for the library, blue first for the codecs.

#ifndef OZNA_TOOLS_PHOTOGRAPH_PIXEL_ORDER_H_
#define OZNA_TOOLS_PHOTOGRAPH_PIXEL_ORDER_H_

#include <opencv2/core/mat.hpp>
#include <utility>

namespace oznatool {

/// Exchanges the first and the third byte of each pixel in place: the image library's conversion
/// would take a second image. pixels  8-bit, three channels.
inline void exchangeRedAndBlue(cv::Mat& pixels) {
  for (int y = 0; y < pixels.rows; ++y) {
    unsigned char* const row = pixels.ptr(y);
    for (int x = 0; x < pixels.cols; ++x) std::swap(row[3 * x], row[3 * x + 2]);
  }
}

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_PIXEL_ORDER_H_
