/// Modules of the program that are loaded when a file needs them: the libraries behind them are large,
/// and most runs see photographs of JPEG and PNG alone.

#ifndef OZNA_TOOLS_CODEC_MODULES_H_
#define OZNA_TOOLS_CODEC_MODULES_H_

#include <cstddef>
#include <cstdint>
#include <opencv2/core/mat.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace oznatool {

/// The functions of ozna-heif.so: photographs of the HEIF family, HEIC and AVIF. Any thread may call
/// them.
struct HeifModule {
  /// Whether the bytes begin as a file of this family does.
  bool (*isHeif)(const unsigned char* bytes, size_t size);
  /// The size of the upright main image in pixels; nothing where it cannot be told.
  std::optional<cv::Size> (*sizeOf)(const unsigned char* bytes, size_t size);
  /// Decodes the main image, turned and cropped as the file says, into packed 8-bit red, green, blue,
  /// in the calling thread. Empty where it cannot be decoded or is not of the promised size, which
  /// shows when the coded picture is decoded.
  cv::Mat (*decode)(const unsigned char* bytes, size_t size, const cv::Size& promised);
  const char* (*version)();
};

/// The functions of ozna-pictures.so: all other formats, and writing. Any thread may call them. Of
/// exceptions they let failed allocations alone through. The codecs may print remarks.
struct PictureModule {
  /// Decodes into 8-bit blue, green, red. Empty where no decoder takes the bytes, and where one finds
  /// a picture of more pixels than promised: it is stopped before it decodes them.
  cv::Mat (*decode)(const std::vector<unsigned char>& bytes, std::int64_t promised_pixels);
  /// Whether the ending of a file name, as ".png", stands for a format that can be written.
  bool (*canEncode)(const std::string& name);
  /// Encodes 8-bit blue, green, red. False where the format has no room for the picture.
  bool (*encode)(const std::string& ending, const cv::Mat& pixels,
                 std::vector<unsigned char>* bytes);
};

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

}  // namespace oznatool

#endif  // OZNA_TOOLS_CODEC_MODULES_H_
