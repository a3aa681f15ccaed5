// Decoding through libpng.

#include "tools/photograph/png_photograph.h"

#include <png.h>

#include <csetjmp>
#include <cstddef>
#include <cstring>
#include <vector>

namespace oznatool {
namespace {

constexpr std::size_t kSignatureSize = 8;
// Behind the signature, the length and the name of the first chunk.
constexpr std::size_t kSizeAt = 16;

struct Source {
  const unsigned char* at;
  std::size_t left;
};

void give(png_structp png, png_bytep out, std::size_t count) {
  auto* const source = static_cast<Source*>(png_get_io_ptr(png));
  if (count > source->left) png_error(png, "end of file");
  std::memcpy(out, source->at, count);
  source->at += count;
  source->left -= count;
}

// Errors of the library leave by a jump, since no exception may pass through its C functions. It
// prints nothing.
[[noreturn]] void leave(png_structp png, png_const_charp /*text*/) { png_longjmp(png, 1); }

void ignore(png_structp /*png*/, png_const_charp /*text*/) {}

// A decoder that frees itself. Between the jump's target and its origins lie no objects with
// destructors.
class Reader {
 public:
  Reader(const unsigned char* bytes, std::size_t size) : source_{bytes, size} {
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, leave, ignore);
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
  }
  ~Reader() { png_destroy_read_struct(&png_, &info_, nullptr); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // Reads up to the first pixels and asks for three 8-bit channels.
  bool readHead() {
    if (info_ == nullptr || setjmp(png_jmpbuf(png_)) != 0) return false;
    png_set_read_fn(png_, &source_, give);
    png_read_info(png_, info_);
    png_set_strip_16(png_);
    png_set_palette_to_rgb(png_);
    if (png_get_bit_depth(png_, info_) < 8) png_set_expand_gray_1_2_4_to_8(png_);
    png_set_strip_alpha(png_);
    png_set_gray_to_rgb(png_);
    png_set_interlace_handling(png_);
    png_read_update_info(png_, info_);
    return true;
  }

  bool readPixels(std::vector<unsigned char*>& rows) {
    if (setjmp(png_jmpbuf(png_)) != 0) return false;
    png_read_image(png_, rows.data());
    png_read_end(png_, nullptr);
    return true;
  }

  cv::Size size() const {
    return {static_cast<int>(png_get_image_width(png_, info_)),
            static_cast<int>(png_get_image_height(png_, info_))};
  }
  std::size_t rowBytes() const { return png_get_rowbytes(png_, info_); }

 private:
  Source source_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
};

}  // namespace

bool isPng(const unsigned char* bytes, std::size_t size) {
  return size >= kSignatureSize && png_sig_cmp(bytes, 0, kSignatureSize) == 0;
}

std::optional<cv::Size> pngSize(const unsigned char* bytes, std::size_t size) {
  Reader reader(bytes, size);
  if (reader.readHead()) return reader.size();
  // Where the decoder refuses, by its own limits for instance, the first chunk still has the size.
  if (!isPng(bytes, size) || size < kSizeAt + 8) return std::nullopt;
  const cv::Size stored(static_cast<int>(png_get_uint_32(bytes + kSizeAt)),
                        static_cast<int>(png_get_uint_32(bytes + kSizeAt + 4)));
  return stored.width > 0 && stored.height > 0 ? std::optional<cv::Size>(stored) : std::nullopt;
}

cv::Mat decodePng(const unsigned char* bytes, std::size_t size, const cv::Size& promised) {
  Reader reader(bytes, size);
  if (!reader.readHead() || reader.size() != promised) return {};
  cv::Mat pixels(promised, CV_8UC3);
  if (reader.rowBytes() != pixels.step) return {};
  std::vector<unsigned char*> rows;
  for (int y = 0; y < pixels.rows; ++y) rows.push_back(pixels.ptr(y));
  return reader.readPixels(rows) ? pixels : cv::Mat();
}

}  // namespace oznatool
