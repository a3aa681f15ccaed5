// Encoding by the image library.

#include "tools/output/image_encoder.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <opencv2/core.hpp>

#include "tools/photograph/codec_modules.h"
#include "tools/photograph/pixel_order.h"
#include "tools/process/exit_code.h"
#include "tools/process/streams.h"

namespace oznatool {

namespace {

const PictureModule& pictures(const std::string& name) {
  try {
    return pictureModule();
  } catch (const MissingModule& missing) {
    throw Failure(kExitOutput, printable(name) + ": cannot be written: " + missing.what());
  }
}

constexpr std::array<int, 8> kEachToItsOwn = {0, 0, 1, 1, 2, 2, 3, 3};

bool hasAlpha(std::string ending) {
  std::transform(ending.begin(), ending.end(), ending.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return ending == ".png" || ending == ".webp" || ending == ".tif" || ending == ".tiff";
}

}  // namespace

bool namesImageFormat(const std::string& name) {
  const std::filesystem::path path(name);
  return path.has_extension() && pictures(name).canEncode(path.filename().string());
}

Bytes encodePicture(const std::string& name, cv::Mat& pixels, const cv::Mat& alpha) {
  exchangeRedAndBlue(pixels);
  const std::string ending = std::filesystem::path(name).extension().string();
  Bytes bytes;
  const PictureModule& module = pictures(name);
  {
    const QuietStandardError quiet;
    if (alpha.size() == pixels.size() && hasAlpha(ending)) {
      cv::Mat together(pixels.size(), CV_8UC4);
      const std::array<cv::Mat, 2> parts = {pixels, alpha};
      cv::mixChannels(parts.data(), parts.size(), &together, 1, kEachToItsOwn.data(), 4);
      bytes = module.encode(ending, together);
    } else {
      bytes = module.encode(ending, pixels);
    }
  }
  if (bytes.empty()) {
    throw Failure(kExitOutput, printable(name) + ": this image cannot be written as " + ending);
  }
  return bytes;
}

}  // namespace oznatool
