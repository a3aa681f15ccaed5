// The module of raw photographs: their size, preview and a quick development through LibRaw.

#include <libraw/libraw.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "tools/photograph/codec_modules.h"

namespace oznatool {
namespace {

// The orientation number of Exif for each way in which the library turns a photograph.
int orientationOf(int flip) {
  constexpr int kOrientations[8] = {1, 2, 4, 3, 5, 8, 6, 7};
  return flip >= 0 && flip < 8 ? kOrientations[flip] : 1;
}

// A file that the library has opened; it borrows the bytes. Null where it does not know it.
std::unique_ptr<LibRaw> opened(const unsigned char* bytes, std::size_t size) {
  auto raw = std::make_unique<LibRaw>();
  raw->set_dataerror_handler(nullptr, nullptr);
  raw->imgdata.params.use_camera_wb = 1;
  raw->imgdata.params.half_size = 1;
  raw->imgdata.params.user_flip = 0;
  raw->imgdata.params.output_bps = 8;
  // The library takes the bytes for writable and leaves them as they are.
  if (raw->open_buffer(const_cast<unsigned char*>(bytes), size) != LIBRAW_SUCCESS) return nullptr;
  return raw;
}

std::optional<RawHead> headIn(const LibRaw& raw) {
  const libraw_image_sizes_t& sizes = raw.imgdata.sizes;
  if (sizes.width < 1 || sizes.height < 1) return std::nullopt;
  RawHead head;
  head.stored = {sizes.width, sizes.height};
  head.orientation = orientationOf(sizes.flip);
  return head;
}

// With the way in which the camera was held, which the settings above keep from being read.
std::optional<RawHead> head(const unsigned char* bytes, std::size_t size) {
  try {
    LibRaw raw;
    raw.set_dataerror_handler(nullptr, nullptr);
    if (raw.open_buffer(const_cast<unsigned char*>(bytes), size) != LIBRAW_SUCCESS) {
      return std::nullopt;
    }
    return headIn(raw);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return std::nullopt;
  }
}

std::vector<unsigned char> preview(const unsigned char* bytes, std::size_t size) {
  try {
    const std::unique_ptr<LibRaw> raw = opened(bytes, size);
    if (raw == nullptr || raw->unpack_thumb() != LIBRAW_SUCCESS) return {};
    const libraw_thumbnail_t& thumbnail = raw->imgdata.thumbnail;
    if (thumbnail.tformat != LIBRAW_THUMBNAIL_JPEG || thumbnail.thumb == nullptr) return {};
    return {thumbnail.thumb, thumbnail.thumb + thumbnail.tlength};
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return {};
  }
}

cv::Mat develop(const unsigned char* bytes, std::size_t size, const cv::Size& promised) {
  try {
    const std::unique_ptr<LibRaw> raw = opened(bytes, size);
    if (raw == nullptr) return {};
    const std::optional<RawHead> found = headIn(*raw);
    if (!found || found->stored != promised) return {};
    if (raw->unpack() != LIBRAW_SUCCESS || raw->dcraw_process() != LIBRAW_SUCCESS) return {};
    int error = LIBRAW_SUCCESS;
    const std::unique_ptr<libraw_processed_image_t, decltype(&LibRaw::dcraw_clear_mem)> image(
        raw->dcraw_make_mem_image(&error), LibRaw::dcraw_clear_mem);
    if (image == nullptr || image->type != LIBRAW_IMAGE_BITMAP || image->bits != 8 ||
        (image->colors != 3 && image->colors != 1)) {
      return {};
    }
    const cv::Mat view(image->height, image->width, image->colors == 3 ? CV_8UC3 : CV_8UC1,
                       image->data);
    if (image->colors == 3) return view.clone();
    cv::Mat pixels(view.size(), CV_8UC3);
    for (int y = 0; y < view.rows; ++y) {
      for (int x = 0; x < view.cols; ++x) {
        const unsigned char grey = view.at<unsigned char>(y, x);
        pixels.at<cv::Vec3b>(y, x) = {grey, grey, grey};
      }
    }
    return pixels;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    return {};
  }
}

}  // namespace
}  // namespace oznatool

extern "C" __attribute__((visibility("default"))) const oznatool::RawModule* oznaRawModule() {
  static const oznatool::RawModule module = {oznatool::head, oznatool::preview, oznatool::develop,
                                             libraw_version};
  return &module;
}
