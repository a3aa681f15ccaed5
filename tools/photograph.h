/// Reads a photograph from a file, upright and in the pixel format of the library.

#ifndef OZNA_TOOLS_PHOTOGRAPH_H_
#define OZNA_TOOLS_PHOTOGRAPH_H_

#include <opencv2/core/mat.hpp>
#include <string>

#include "ozna.h"

namespace oznatool {

/// A decoded photograph.
struct Photograph {
  std::string path;  ///< As the user gave it.
  cv::Mat pixels;    ///< 8-bit red, green, blue; rows are packed. At least 1 by 1.

  /// A view of pixels for the library. It borrows them: it is good for as long as this object is.
  oznalib::Image image() const;
};

/// Reads and decodes one file, which may be a pipe.
///
/// Turned upright by the orientation tag (JPEG, PNG, TIFF), so that every coordinate is one of the
/// upright image. Grey becomes three equal channels, 16 bits become 8, and an alpha channel is
/// dropped without blending. Errors   Failure with kExitPhotographs and the reason, which begins
/// with the path: a file that cannot be opened or
///          read, a directory, an empty file, an unknown format, damaged or cut short content, too
///          many pixels.
/// Threads  Any number at once.
/// Memory   The file's bytes and the decoded pixels.
Photograph readPhotograph(const std::string& path);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_H_
