/// Modules of the program that are loaded when a file needs them: the libraries behind them are
/// large, and most runs see photographs of JPEG and PNG alone.

#ifndef OZNA_TOOLS_PHOTOGRAPH_CODEC_MODULES_H_
#define OZNA_TOOLS_PHOTOGRAPH_CODEC_MODULES_H_

#include <cstddef>
#include <cstdint>
#include <opencv2/core/mat.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace oznatool {

// Members that are called have the names of functions.
// NOLINTBEGIN(readability-identifier-naming)

/// The functions of ozna-heif.so: photographs of the HEIF family, HEIC and AVIF. Any thread may
/// call them.
struct HeifModule {
  /// Whether the bytes begin as a file of this family does.
  bool (*isHeif)(const unsigned char* bytes, std::size_t size);
  /// The size of the upright main image in pixels; nothing where it is not known.
  std::optional<cv::Size> (*sizeOf)(const unsigned char* bytes, std::size_t size);
  /// Decodes the main image, turned and cropped as the file says, into packed 8-bit red, green,
  /// blue, in the calling thread. Empty where it cannot be decoded or is not of the promised size,
  /// which shows when the coded picture is decoded.
  cv::Mat (*decode)(const unsigned char* bytes, std::size_t size, const cv::Size& promised);
  /// The colour profile of the main image; empty where it has none.
  std::vector<unsigned char> (*colourProfile)(const unsigned char* bytes, std::size_t size);
  const char* (*version)();
};

/// The functions of ozna-pictures.so: all other formats, and writing. Any thread may call them. Of
/// exceptions they let failed allocations alone through. The codecs may print remarks.
struct PictureModule {
  /// Decodes into 8-bit blue, green, red. Empty where no decoder takes the bytes, and where one
  /// finds a picture of more pixels than promised: it is stopped before it decodes them.
  cv::Mat (*decode)(const std::vector<unsigned char>& bytes, std::int64_t promised_pixels);
  /// Decodes the alpha channel alone, of 8 bits. Empty where there is none, and as decode.
  cv::Mat (*decodeAlpha)(const std::vector<unsigned char>& bytes, std::int64_t promised_pixels);
  /// Whether the ending of a file name, as ".png", stands for a format that can be written.
  bool (*canEncode)(const std::string& name);
  /// Encodes 8-bit blue, green, red, and alpha where there are four channels. Empty where the
  /// format has no room for the picture.
  std::vector<unsigned char> (*encode)(const std::string& ending, const cv::Mat& pixels);
};

/// The functions of ozna-frames.so: pictures that move. Any thread may call them. They decode the
/// first frame into 8-bit red, green, blue of the promised size; empty where it cannot be decoded
/// or the file is of another size. An alpha channel is dropped without blending.
struct FrameModule {
  cv::Mat (*gif)(const unsigned char* bytes, std::size_t size, const cv::Size& promised);
  cv::Mat (*webp)(const unsigned char* bytes, std::size_t size, const cv::Size& promised);
};

/// What a raw photograph says of its full picture.
struct RawHead {
  cv::Size stored;      ///< In pixels, at least 1 by 1.
  int orientation = 1;  ///< See orientation.h.
};

/// The functions of ozna-raw.so: raw photographs of cameras. Any thread may call them. Of
/// exceptions they let failed allocations alone through.
struct RawModule {
  /// Nothing where the library does not know the file.
  std::optional<RawHead> (*head)(const unsigned char* bytes, std::size_t size);
  /// The largest embedded JPEG picture, as stored; empty where there is none.
  std::vector<unsigned char> (*preview)(const unsigned char* bytes, std::size_t size);
  /// Develops the full picture at half its sides, into 8-bit red, green, blue, as stored. Empty
  /// where that is not possible or the full picture is not of the promised size.
  cv::Mat (*develop)(const unsigned char* bytes, std::size_t size, const cv::Size& promised);
  const char* (*version)();
};

// NOLINTEND(readability-identifier-naming)

/// A module that is missing or cannot be loaded; the text says which and why.
class MissingModule : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The modules, loaded by the first call. They lie where the program's run path says, beside the
/// program in a build tree and in the library directory's "ozna" in an installed one.
/// Errors  MissingModule. Threads  Any.
const HeifModule& heifModule();
const PictureModule& pictureModule();
const FrameModule& frameModule();
const RawModule& rawModule();

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_CODEC_MODULES_H_
