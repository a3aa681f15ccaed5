// Decoding through libjpeg-turbo.

#include "tools/photograph/jpeg_photograph.h"

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstring>
// jpeglib.h needs FILE and size_t before it.
#include <jerror.h>
#include <jpeglib.h>

namespace oznatool {
namespace {

// Errors of the library leave by a jump, since no exception may pass through its C functions. It
// prints nothing.
struct ErrorManager {
  jpeg_error_mgr base;
  jmp_buf out;
  bool is_cut_short;
};

ErrorManager* managerOf(j_common_ptr info) { return reinterpret_cast<ErrorManager*>(info->err); }

[[noreturn]] void leave(j_common_ptr info) { std::longjmp(managerOf(info)->out, 1); }

void noteWarning(j_common_ptr info, int level) {
  if (level >= 0) return;  // A remark.
  ++info->err->num_warnings;
  if (info->err->msg_code == JWRN_JPEG_EOF) managerOf(info)->is_cut_short = true;
}

void printNothing(j_common_ptr /*info*/) {}

// A decompression that frees itself. Between the jump's target and its origins lie no objects with
// destructors.
class Reader {
 public:
  Reader(const unsigned char* bytes, std::size_t size) : bytes_(bytes), size_(size) {
    info_.err = jpeg_std_error(&errors_.base);
    errors_.base.error_exit = leave;
    errors_.base.emit_message = noteWarning;
    errors_.base.output_message = printNothing;
    errors_.is_cut_short = false;
  }
  ~Reader() {
    if (is_created_) jpeg_destroy_decompress(&info_);
  }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // Reads up to the first scan. saved_marker  Its segments are kept; 0 for none.
  bool readHead(int saved_marker) {
    if (setjmp(errors_.out) != 0) return false;
    jpeg_create_decompress(&info_);
    is_created_ = true;
    jpeg_mem_src(&info_, bytes_, size_);
    if (saved_marker != 0) jpeg_save_markers(&info_, saved_marker, 0xFFFF);
    return jpeg_read_header(&info_, TRUE) == JPEG_HEADER_OK;
  }

  // Tables and coefficients. output() is good from here on.
  bool start(int reduction) {
    if (setjmp(errors_.out) != 0) return false;
    info_.scale_num = 1;
    info_.scale_denom = static_cast<unsigned int>(reduction);
    info_.out_color_space = hasFourInks() ? JCS_CMYK : JCS_RGB;
    return jpeg_start_decompress(&info_) == TRUE;
  }

  // row  Room for as many bytes as a row of the output has.
  bool readRow(unsigned char* row) {
    if (setjmp(errors_.out) != 0) return false;
    return jpeg_read_scanlines(&info_, &row, 1) == 1;
  }

  // Reads on to the end marker.
  bool finish() {
    if (setjmp(errors_.out) != 0) return false;
    return jpeg_finish_decompress(&info_) == TRUE;
  }

  bool hasFourInks() const { return info_.num_components == 4; }
  bool isCutShort() const { return errors_.is_cut_short; }
  cv::Size stored() const {
    return {static_cast<int>(info_.image_width), static_cast<int>(info_.image_height)};
  }
  cv::Size output() const {
    return {static_cast<int>(info_.output_width), static_cast<int>(info_.output_height)};
  }
  const jpeg_decompress_struct& info() const { return info_; }

 private:
  const unsigned char* bytes_;
  std::size_t size_;
  ErrorManager errors_ = {};
  jpeg_decompress_struct info_ = {};
  bool is_created_ = false;
};

// Files with four inks store them inverted, 255 for none: a colour is what its ink and black let
// through.
void writeColours(const unsigned char* inks, int width, unsigned char* row) {
  for (int x = 0; x < width; ++x) {
    const int black = inks[4 * x + 3];
    for (int c = 0; c < 3; ++c) {
      row[3 * x + c] = static_cast<unsigned char>(black - ((255 - inks[4 * x + c]) * black >> 8));
    }
  }
}

bool readPixels(Reader& reader, cv::Mat& pixels) {
  std::vector<unsigned char> inks(reader.hasFourInks() ? 4 * static_cast<std::size_t>(pixels.cols)
                                                       : 0);
  for (int y = 0; y < pixels.rows; ++y) {
    unsigned char* const row = pixels.ptr(y);
    if (!reader.readRow(inks.empty() ? row : inks.data())) return false;
    if (!inks.empty()) writeColours(inks.data(), pixels.cols, row);
  }
  return reader.finish();
}

}  // namespace

bool isJpeg(const unsigned char* bytes, std::size_t size) {
  return size >= 3 && std::memcmp(bytes, "\xFF\xD8\xFF", 3) == 0;
}

std::optional<JpegHead> jpegHead(const unsigned char* bytes, std::size_t size) {
  Reader reader(bytes, size);
  if (!reader.readHead(JPEG_APP0 + 1)) return std::nullopt;
  JpegHead head;
  head.stored = reader.stored();
  head.is_progressive = reader.info().progressive_mode == TRUE;
  constexpr std::size_t kNameSize = 6;
  for (const jpeg_marker_struct* at = reader.info().marker_list; at != nullptr; at = at->next) {
    if (at->data_length < kNameSize || std::memcmp(at->data, "Exif\0\0", kNameSize) != 0) continue;
    head.exif.assign(at->data + kNameSize, at->data + at->data_length);
    break;
  }
  return head;
}

cv::Size reducedSize(const cv::Size& stored, int reduction) {
  // A header may promise the largest side that there is: nothing is added before the division.
  const auto reduced = [reduction](int side) {
    return side / reduction + (side % reduction == 0 ? 0 : 1);
  };
  return {reduced(stored.width), reduced(stored.height)};
}

DecodedJpeg decodeJpeg(const unsigned char* bytes, std::size_t size, const cv::Size& promised,
                       int reduction) {
  Reader reader(bytes, size);
  DecodedJpeg decoded;
  if (reader.readHead(0) && reader.stored() == promised && reader.start(reduction) &&
      reader.output() == reducedSize(promised, reduction)) {
    decoded.pixels.create(reader.output(), CV_8UC3);
    if (!readPixels(reader, decoded.pixels)) decoded.pixels.release();
  }
  decoded.is_cut_short = reader.isCutShort();
  return decoded;
}

}  // namespace oznatool
