// Encoding by the image library.

#include "tools/image_encoder.h"

#include <filesystem>
#include <opencv2/imgcodecs.hpp>

#include "tools/exit_code.h"
#include "tools/pixel_order.h"
#include "tools/streams.h"

namespace oznatool {

bool namesImageFormat(const std::string& name) {
  const std::filesystem::path path(name);
  return path.has_extension() && cv::haveImageWriter(path.filename().string());
}

Bytes encodePicture(const std::string& name, cv::Mat& pixels) {
  exchangeRedAndBlue(pixels);
  const std::string ending = std::filesystem::path(name).extension().string();
  Bytes bytes;
  bool encoded = false;
  {
    const QuietStandardError quiet;
    try {
      encoded = cv::imencode(ending, pixels, bytes);
    } catch (const cv::Exception&) {
      // Some formats have no room for so many pixels.
    }
  }
  if (!encoded) {
    throw Failure(kExitOutput, printable(name) + ": this image cannot be written as " + ending);
  }
  return bytes;
}

}  // namespace oznatool
