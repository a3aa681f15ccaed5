/// A decoded photograph, upright and in the pixel format of the library.

#ifndef OZNA_TOOLS_PHOTOGRAPH_H_
#define OZNA_TOOLS_PHOTOGRAPH_H_

#include <cstdint>
#include <opencv2/core/mat.hpp>
#include <string>
#include <vector>

#include "ozna.h"
#include "tools/photograph_header.h"

namespace oznatool {

/// Pixels are 8-bit red, green, blue.
struct Photograph {
  std::string path;     ///< As the user gave it.
  int orientation = 1;  ///< How it was turned upright: see orientation.h.
  cv::Mat framed;       ///< The upright photograph with its border; rows are packed.
  int border_px = 0;    ///< Width of the border on each side.
  cv::Mat pixels;       ///< The photograph without its border: a view into framed. At least 1 by 1.

  /// A view of framed for the library. It borrows the pixels: it is good for as long as this object
  /// is.
  oznalib::Image image() const;
};

/// Decodes one file.
///
/// bytes    The whole file. header  Its header.
/// Turned upright by its orientation. Grey becomes three equal channels, 16 bits become 8, and an
/// alpha channel is dropped without blending.
/// Errors   PhotographFailure of kind kFormat or kMemory.
Photograph decodePhotograph(const std::string& path, const std::vector<unsigned char>& bytes,
                            const PhotographHeader& header);

/// Puts a border around a photograph that has none, filled with the pixels of its edge.
void addBorder(Photograph* photograph, int border_px);

/// The width of a border in pixels. percent  Of the longer side.
int borderPixels(const cv::Size& photograph, double percent);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_H_
