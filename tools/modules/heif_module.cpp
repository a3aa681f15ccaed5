// The module of the HEIF family: decoding through libheif.

#include <libheif/heif.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "tools/photograph/codec_modules.h"

namespace oznatool {
namespace {

struct Free {
  void operator()(heif_context* context) const { heif_context_free(context); }
  void operator()(heif_image_handle* handle) const { heif_image_handle_release(handle); }
  void operator()(heif_image* image) const { heif_image_release(image); }
};
using Context = std::unique_ptr<heif_context, Free>;
using Handle = std::unique_ptr<heif_image_handle, Free>;
using Image = std::unique_ptr<heif_image, Free>;

bool isOk(const heif_error& error) { return error.code == heif_error_Ok; }

// The main image of a file; it borrows the bytes. Null where there is none.
struct MainImage {
  MainImage(const unsigned char* bytes, std::size_t size) : context(heif_context_alloc()) {
    heif_context_set_max_decoding_threads(context.get(), 0);
    if (!isOk(heif_context_read_from_memory_without_copy(context.get(), bytes, size, nullptr))) {
      return;
    }
    heif_image_handle* found = nullptr;
    if (isOk(heif_context_get_primary_image_handle(context.get(), &found))) handle.reset(found);
  }
  Context context;
  Handle handle;
};

bool isHeif(const unsigned char* bytes, std::size_t size) {
  if (size < 12) return false;  // Too short to tell; the library would say perhaps.
  const auto type = heif_check_filetype(bytes, static_cast<int>(std::min<std::size_t>(size, 64)));
  return type == heif_filetype_yes_supported || type == heif_filetype_maybe;
}

std::optional<cv::Size> sizeOf(const unsigned char* bytes, std::size_t size) {
  const MainImage image(bytes, size);
  if (image.handle == nullptr) return std::nullopt;
  return cv::Size(heif_image_handle_get_width(image.handle.get()),
                  heif_image_handle_get_height(image.handle.get()));
}

cv::Mat decode(const unsigned char* bytes, std::size_t size, const cv::Size& promised) {
  const MainImage main(bytes, size);
  if (main.handle == nullptr) return {};
  heif_image* decoded = nullptr;
  if (!isOk(heif_decode_image(main.handle.get(), &decoded, heif_colorspace_RGB,
                              heif_chroma_interleaved_RGB, nullptr))) {
    return {};
  }
  const Image image(decoded);
  const int width = heif_image_get_width(decoded, heif_channel_interleaved);
  const int height = heif_image_get_height(decoded, heif_channel_interleaved);
  int stride = 0;
  const std::uint8_t* const rows =
      heif_image_get_plane_readonly(decoded, heif_channel_interleaved, &stride);
  if (rows == nullptr || cv::Size(width, height) != promised) return {};
  cv::Mat pixels(height, width, CV_8UC3);
  for (int y = 0; y < height; ++y) {
    std::memcpy(pixels.ptr(y), rows + static_cast<std::ptrdiff_t>(y) * stride,
                3 * static_cast<std::size_t>(width));
  }
  return pixels;
}

std::vector<unsigned char> colourProfile(const unsigned char* bytes, std::size_t size) {
  constexpr std::size_t kLargest = std::size_t{16} << 20;
  const MainImage main(bytes, size);
  if (main.handle == nullptr) return {};
  const std::size_t length = heif_image_handle_get_raw_color_profile_size(main.handle.get());
  const auto type = heif_image_handle_get_color_profile_type(main.handle.get());
  const bool is_file = type == heif_color_profile_type_prof || type == heif_color_profile_type_rICC;
  if (!is_file || length > kLargest) return {};
  std::vector<unsigned char> profile(length);
  if (!isOk(heif_image_handle_get_raw_color_profile(main.handle.get(), profile.data()))) return {};
  return profile;
}

const char* version() { return heif_get_version(); }

}  // namespace
}  // namespace oznatool

extern "C" __attribute__((visibility("default"))) const oznatool::HeifModule* oznaHeifModule() {
  static const oznatool::HeifModule module = {oznatool::isHeif, oznatool::sizeOf, oznatool::decode,
                                              oznatool::colourProfile, oznatool::version};
  return &module;
}
