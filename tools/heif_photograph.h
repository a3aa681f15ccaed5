/// Photographs of the HEIF family, such as those of telephones: HEIC and AVIF.

#ifndef OZNA_TOOLS_HEIF_PHOTOGRAPH_H_
#define OZNA_TOOLS_HEIF_PHOTOGRAPH_H_

#include <cstddef>
#include <opencv2/core/mat.hpp>
#include <optional>

namespace oznatool {

/// Whether the bytes begin as a file of this family does.
bool isHeif(const unsigned char* bytes, size_t size);

/// The size of the upright main image in pixels; nothing where it cannot be told.
std::optional<cv::Size> heifSize(const unsigned char* bytes, size_t size);

/// Decodes the main image, turned and cropped as the file says, into packed 8-bit red, green, blue.
/// Empty where it cannot be decoded. Threads  Decodes in the calling thread.
cv::Mat decodeHeif(const unsigned char* bytes, size_t size);

}  // namespace oznatool

#endif  // OZNA_TOOLS_HEIF_PHOTOGRAPH_H_
