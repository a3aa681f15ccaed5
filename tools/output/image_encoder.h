/// Encodes pictures for files.

#ifndef OZNA_TOOLS_OUTPUT_IMAGE_ENCODER_H_
#define OZNA_TOOLS_OUTPUT_IMAGE_ENCODER_H_

#include <opencv2/core/mat.hpp>
#include <string>

#include "tools/process/bytes.h"

namespace oznatool {

/// Whether the ending of this file name stands for an image format that can be written.
bool namesImageFormat(const std::string& name);

/// The bytes of a picture in the format that the ending of a file name stands for.
///
/// pixels  8-bit, three channels, red first; its content is changed.
/// alpha   8-bit, one channel, of the same size; empty for none. Formats without one leave it out.
/// Errors  Failure with kExitOutput, naming the file, where the format has no room for it.
Bytes encodePicture(const std::string& name, cv::Mat& pixels, const cv::Mat& alpha = {});

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_IMAGE_ENCODER_H_
