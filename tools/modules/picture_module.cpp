// The module of the formats that no part of the program reads by itself: the image library's
// codecs.

#include <cstddef>
#include <limits>
#include <new>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "tools/photograph/codec_modules.h"

namespace oznatool {
namespace {

// The most bytes that an image may take in this thread.
thread_local std::int64_t most_bytes = std::numeric_limits<std::int64_t>::max();
thread_local bool was_refused = false;

// Allocates images up to a limit. A decoder that has read its header makes room for the picture
// before it decodes it: this is where its own figures show, whatever another reader made of the
// file.
class LimitedAllocator : public cv::MatAllocator {
 public:
  cv::UMatData* allocate(int dims, const int* sizes, int type, void* data, std::size_t* step,
                         cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    double bytes = static_cast<double>(CV_ELEM_SIZE(type));
    for (int i = 0; i < dims; ++i) bytes *= sizes[i];
    if (data == nullptr && bytes > static_cast<double>(most_bytes)) {
      was_refused = true;
      CV_Error(cv::Error::StsNoMem, "more pixels than promised");
    }
    return cv::Mat::getStdAllocator()->allocate(dims, sizes, type, data, step, flags, usage);
  }
  bool allocate(cv::UMatData* data, cv::AccessFlag flags, cv::UMatUsageFlags usage) const override {
    return cv::Mat::getStdAllocator()->allocate(data, flags, usage);
  }
  void deallocate(cv::UMatData* data) const override {
    cv::Mat::getStdAllocator()->deallocate(data);
  }
};

// Holds the limit for the time of a decoding.
class Limit {
 public:
  explicit Limit(std::int64_t bytes) {
    most_bytes = bytes;
    was_refused = false;
  }
  ~Limit() { most_bytes = std::numeric_limits<std::int64_t>::max(); }
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;
};

cv::Mat decode(const std::vector<unsigned char>& bytes, std::int64_t promised_pixels) {
  constexpr std::int64_t kMostChannels = 4;  // A decoder may read an alpha channel besides.
  const Limit limit(kMostChannels * promised_pixels);
  try {
    cv::Mat pixels = cv::imdecode(bytes, cv::IMREAD_COLOR | cv::IMREAD_IGNORE_ORIENTATION);
    const auto count = static_cast<std::int64_t>(pixels.total());
    return pixels.type() == CV_8UC3 && count <= promised_pixels ? pixels : cv::Mat();
  } catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem && !was_refused) throw std::bad_alloc();
    return {};
  }
}

cv::Mat decodeAlpha(const std::vector<unsigned char>& bytes, std::int64_t promised_pixels) {
  constexpr std::int64_t kMostBytes = 8;  // Four channels of 16 bits.
  const Limit limit(kMostBytes * promised_pixels);
  try {
    cv::Mat pixels = cv::imdecode(bytes, cv::IMREAD_UNCHANGED | cv::IMREAD_IGNORE_ORIENTATION);
    if (pixels.channels() != 4 || static_cast<std::int64_t>(pixels.total()) > promised_pixels) {
      return {};
    }
    cv::Mat alpha;
    cv::extractChannel(pixels, alpha, 3);
    if (alpha.depth() == CV_16U) alpha.convertTo(alpha, CV_8U, 1.0 / 257);
    return alpha.type() == CV_8UC1 ? alpha : cv::Mat();
  } catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem && !was_refused) throw std::bad_alloc();
    return {};
  }
}

bool canEncode(const std::string& name) { return cv::haveImageWriter(name); }

std::vector<unsigned char> encode(const std::string& ending, const cv::Mat& pixels) {
  try {
    std::vector<unsigned char> bytes;
    return cv::imencode(ending, pixels, bytes) ? bytes : std::vector<unsigned char>();
  } catch (const cv::Exception&) {
    return {};  // Some formats have no room for so many pixels.
  }
}

}  // namespace
}  // namespace oznatool

extern "C" __attribute__((visibility("default"))) const oznatool::PictureModule*
oznaPictureModule() {
  static oznatool::LimitedAllocator allocator;
  static const oznatool::PictureModule module = [] {
    cv::Mat::setDefaultAllocator(&allocator);
    return oznatool::PictureModule{oznatool::decode, oznatool::decodeAlpha, oznatool::canEncode,
                                   oznatool::encode};
  }();
  return &module;
}
