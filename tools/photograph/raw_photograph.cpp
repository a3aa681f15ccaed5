// Preview or development.

#include "tools/photograph/raw_photograph.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <opencv2/imgproc.hpp>

#include "tools/photograph/codec_modules.h"
#include "tools/photograph/jpeg_photograph.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

constexpr std::array<const char*, 8> kEndings = {".dng", ".cr2", ".cr3", ".nef",
                                                 ".arw", ".raf", ".orf", ".rw2"};

// Whether a preview shows the whole picture, well enough.
bool isFit(const cv::Size& preview, const cv::Size& picture) {
  constexpr int kLeastSide = 1024;
  constexpr double kMostStretch = 0.03;  // More has been cut off, or has black bars.
  if (preview.width > picture.width || preview.height > picture.height) return false;
  const int enough = std::min(kLeastSide, std::max(picture.width, picture.height));
  const double stretch = static_cast<double>(preview.width) * picture.height /
                         (static_cast<double>(preview.height) * picture.width);
  return std::max(preview.width, preview.height) >= enough && std::abs(stretch - 1) <= kMostStretch;
}

cv::Mat decodePreview(const std::vector<unsigned char>& preview, const cv::Size& picture) {
  if (!isJpeg(preview.data(), preview.size())) return {};
  const std::optional<JpegHead> head = jpegHead(preview.data(), preview.size());
  if (!head || !isFit(head->stored, picture)) return {};
  const DecodedJpeg decoded =
      decodeJpeg(preview.data(), preview.size(), head->stored, /*reduction=*/1);
  return decoded.is_cut_short ? cv::Mat() : decoded.pixels;
}

}  // namespace

bool hasRawEnding(const std::string& name) {
  std::string ending = std::filesystem::path(name).extension().string();
  for (char& c : ending) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return std::find(kEndings.begin(), kEndings.end(), ending) != kEndings.end();
}

cv::Mat decodeRaw(const unsigned char* bytes, std::size_t size, const cv::Size& promised,
                  bool whole) {
  const RawModule& module = rawModule();
  const QuietStandardError quiet;
  cv::Mat pixels = decodePreview(module.preview(bytes, size), promised);
  if (pixels.empty()) pixels = module.develop(bytes, size, promised);
  if (pixels.empty() || !whole || pixels.size() == promised) return pixels;
  cv::Mat enlarged;
  cv::resize(pixels, enlarged, promised, 0, 0, cv::INTER_LINEAR);
  return enlarged;
}

}  // namespace oznatool
