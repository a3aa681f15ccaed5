/// A decoded photograph, upright and in the pixel format of the library.

#ifndef OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_H_
#define OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_H_

#include <cstdint>
#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

#include "oznakit.hpp"
#include "tools/photograph/face.h"
#include "tools/photograph/photograph_header.h"
#include "tools/photograph/picture_metadata.h"

namespace oznatool {

/// What a photograph is decoded for.
enum class Purpose {
  kSearch,  ///< The pixels of a raw photograph may be those of a smaller picture in it.
  kPixels,  ///< The pixels are those of the whole photograph.
  kCopy,    ///< So too, and alpha channel and metadata are read besides.
};

/// Pixels are 8-bit red, green, blue.
struct Photograph {
  std::string path;     ///< As the user gave it.
  int orientation = 1;  ///< How it was turned upright: see orientation.h.
  cv::Mat pixels;       ///< Upright. At least 1 by 1.

  cv::Size size;      ///< Of the upright photograph in its own pixels.
  int reduction = 1;  ///< Side of the square of its own pixels that a pixel here stands for.
  /// Where the left top edge of pixels lies in the photograph, in its own pixels: 0, or less where
  /// the outermost pixels stand for more than there was.
  cv::Point origin = {};

  /// How many of its own pixels a pixel here stands for along each side, reduction aside: a raw
  /// photograph is searched in a smaller picture of itself.
  cv::Size2f scale = {1, 1};
  bool is_cut_short = false;  ///< The file ends early; what is missing is grey.

  /// For a copy of the photograph: its alpha channel, upright, and what its file says beside the
  /// pixels. Empty unless decodePhotograph was asked for them.
  cv::Mat alpha = {};
  PictureMetadata metadata = {};

  /// Brings a face from the pixels here to the photograph's own.
  void enlarge(Face& face) const;
};

/// The pixels for the library, which borrows them. pixels  8-bit red, green, blue.
oznakit::Image imageOf(const cv::Mat& pixels);

/// Decodes one file.
///
/// bytes      The whole file. header  Its header, with its size.
/// reduction  1, 2, 4 or 8: see decodeJpeg; 1 for other formats.
/// purpose    What the pixels are for.
/// Turned upright by its orientation. Grey becomes three equal channels, 16 bits become 8, and an
/// alpha channel is dropped without blending.
/// Errors   PhotographFailure of kind kFormat or kMemory.
Photograph decodePhotograph(const std::string& path, const std::vector<unsigned char>& bytes,
                            const PhotographHeader& header, int reduction,
                            Purpose purpose = Purpose::kSearch);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_H_
