/// Pixels of a turned and scaled part of a picture.

#ifndef OZNA_KIT_FACES_RESAMPLING_H_
#define OZNA_KIT_FACES_RESAMPLING_H_

#include <array>
#include <cstdint>
#include <functional>
#include <opencv2/core/types.hpp>

#include "kit/faces/similarity.h"
#include "kit/pixels/picture.h"

namespace kit {

/// What lies outside of a picture.
struct Border {
  bool mirrors = false;                     ///< The picture, mirrored at its edges again and again.
  std::array<std::uint8_t, 4> colour = {};  ///< Otherwise: red, green, blue, alpha.
};

/// Red, green, blue, alpha of a pixel, 0 to 255.
using Colour = std::array<float, 4>;

/// Takes each pixel of the part between the four of the picture around it; where the part is
/// smaller than in the picture, as the mean of so many of these, evenly spread over the pixel, that
/// none of the picture is passed over.
///
/// size      Of the part in pixels.
/// from      Pixels of the part to pixels of the picture, 0 at the centre of the first pixel.
/// take_row  Called for each row from the top, with size.width pixels. Alpha is 255 inside of the
///           picture.
/// Cost      Grows with the area of the part, or of what it shows where that is larger, up to 8192
///           pixels per side; from there on every second pixel is passed over, and so on. In the
///           calling thread. No memory but for a row.
void resample(const Picture& picture, const cv::Size& size, const Similarity& from,
              const Border& border,
              const std::function<void(int y, const Colour* pixels)>& take_row);

}  // namespace kit

#endif  // OZNA_KIT_FACES_RESAMPLING_H_
