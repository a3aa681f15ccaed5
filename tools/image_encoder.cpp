// Encoding by the image library.

#include "tools/image_encoder.h"

#include <filesystem>

#include "tools/codec_modules.h"
#include "tools/exit_code.h"
#include "tools/pixel_order.h"
#include "tools/streams.h"

namespace oznatool {

namespace {

const PictureModule& pictures(const std::string& name) {
  try {
    return pictureModule();
  } catch (const MissingModule& missing) {
    throw Failure(kExitOutput, printable(name) + ": cannot be written: " + missing.what());
  }
}

}  // namespace

bool namesImageFormat(const std::string& name) {
  const std::filesystem::path path(name);
  return path.has_extension() && pictures(name).canEncode(path.filename().string());
}

Bytes encodePicture(const std::string& name, cv::Mat& pixels) {
  exchangeRedAndBlue(pixels);
  const std::string ending = std::filesystem::path(name).extension().string();
  Bytes bytes;
  const PictureModule& module = pictures(name);
  bool encoded = false;
  {
    const QuietStandardError quiet;
    encoded = module.encode(ending, pixels, &bytes);
  }
  if (!encoded) {
    throw Failure(kExitOutput, printable(name) + ": this image cannot be written as " + ending);
  }
  return bytes;
}

}  // namespace oznatool
