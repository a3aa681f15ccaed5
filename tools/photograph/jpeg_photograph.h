/// JPEG photographs, read by libjpeg-turbo: head and pixels by one reader.

#ifndef OZNA_TOOLS_PHOTOGRAPH_JPEG_PHOTOGRAPH_H_
#define OZNA_TOOLS_PHOTOGRAPH_JPEG_PHOTOGRAPH_H_

#include <cstddef>
#include <opencv2/core/mat.hpp>
#include <optional>
#include <vector>

namespace oznatool {

/// Whether the bytes begin as a JPEG file does.
bool isJpeg(const unsigned char* bytes, std::size_t size);

/// What stands before the first scan.
struct JpegHead {
  cv::Size stored;                  ///< In pixels, at least 1 by 1.
  bool is_progressive = false;      ///< Coded in several passes: a decoder holds all coefficients.
  std::vector<unsigned char> exif;  ///< What follows the name of the Exif segment; empty for none.
};

/// Reads the head. Nothing where the decoder would not go on from it. Cost: the segments before the
/// first scan.
std::optional<JpegHead> jpegHead(const unsigned char* bytes, std::size_t size);

/// The sides of a picture whose stored sides are reduced so many times: rounded up.
cv::Size reducedSize(const cv::Size& stored, int reduction);

/// Outcome of a decoding.
struct DecodedJpeg {
  /// 8-bit red, green, blue, as stored; empty where the file cannot be decoded or is not of the
  /// promised size.
  cv::Mat pixels;
  bool is_cut_short = false;  ///< The file ends before its end marker; what is missing is grey.
};

/// Decodes a file. Damage between whole segments is painted over, as decoders of this format do.
///
/// promised   The size that jpegHead returned: a decoder that finds another one decodes nothing.
/// reduction  1, 2, 4 or 8. A pixel of the result stands for the square of reduction by reduction
///            stored pixels that begins at reduction times its place; of the last column and row a
///            part may lie outside the picture.
/// Errors     Failed allocations pass through.
DecodedJpeg decodeJpeg(const unsigned char* bytes, std::size_t size, const cv::Size& promised,
                       int reduction);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_JPEG_PHOTOGRAPH_H_
