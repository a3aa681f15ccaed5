/// What is known about a photograph from its file without decoding the pixels.

#ifndef OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_HEADER_H_
#define OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_HEADER_H_

#include <cstddef>
#include <cstdint>
#include <opencv2/core/types.hpp>
#include <optional>

namespace oznatool {

enum class FileFormat {
  kJpeg,
  kProgressiveJpeg,
  kPng,
  kTiff,
  kWebp,
  kAnimatedWebp,
  kGif,
  kHeif,
  kRaw,
  kOther
};

struct PhotographHeader {
  FileFormat format = FileFormat::kOther;
  /// Size as stored in pixels, at least 1 by 1; nothing where the file has no known form.
  std::optional<cv::Size> stored;
  int orientation = 1;    ///< How the stored pixels are to be turned: see orientation.h.
  std::size_t pages = 1;  ///< Pictures or frames in the file, of which the first is read.
};

/// Reads the header of an image file.
///
/// Of JPEG, PNG and the HEIF family the decoder itself returns the size. Of other formats the
/// metadata library does, and the decoder is held to it: see PictureModule.
///
/// A file of the HEIF family always counts as upright: its decoder turns it, and by its format the
/// Exif orientation does not count. A header that cannot be read gives what is known without it.
/// is_raw  Whether the file is to be read as the raw photograph of a camera: many of them look like
///         a TIFF file of their own thumbnail.
/// Errors  MissingModule.
PhotographHeader readHeader(const unsigned char* bytes, std::size_t size, bool is_raw = false);

/// Whether pictures of a format may have an alpha channel.
bool mayHaveAlpha(FileFormat format);

/// The size of the photograph in pixels when it is turned upright. header  With its size.
cv::Size uprightSize(const PhotographHeader& header);

/// The most memory in bytes, besides the file itself, that decoding a photograph and turning it
/// upright takes at any time.
///
/// header     With its size.
/// reduction  Of the sides: see decodeJpeg; 1 for other formats.
/// for_copy   Whether its alpha channel is decoded too.
std::int64_t decodingMemory(const PhotographHeader& header, int reduction, bool for_copy = false);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_HEADER_H_
