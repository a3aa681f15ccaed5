/// PNG pictures, read by libpng: head and pixels by one reader.

#ifndef OZNA_TOOLS_PHOTOGRAPH_PNG_PHOTOGRAPH_H_
#define OZNA_TOOLS_PHOTOGRAPH_PNG_PHOTOGRAPH_H_

#include <cstddef>
#include <opencv2/core/mat.hpp>
#include <optional>

namespace oznatool {

/// Whether the bytes begin as a PNG file does.
bool isPng(const unsigned char* bytes, std::size_t size);

/// The size in pixels that the decoder takes from the head, also one that it refuses to decode;
/// nothing where there is none.
std::optional<cv::Size> pngSize(const unsigned char* bytes, std::size_t size);

/// Decodes a file into 8-bit red, green, blue, as stored. Grey becomes three equal channels, 16
/// bits become 8, and an alpha channel is dropped without blending.
///
/// promised  The size that pngSize returned: a decoder that finds another one decodes nothing.
/// Returns   Empty where the file cannot be decoded to its end.
/// Errors    Failed allocations pass through.
cv::Mat decodePng(const unsigned char* bytes, std::size_t size, const cv::Size& promised);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_PNG_PHOTOGRAPH_H_
