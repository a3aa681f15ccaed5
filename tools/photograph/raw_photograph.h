/// Raw photographs of cameras: a picture of them that can be searched.

#ifndef OZNA_TOOLS_PHOTOGRAPH_RAW_PHOTOGRAPH_H_
#define OZNA_TOOLS_PHOTOGRAPH_RAW_PHOTOGRAPH_H_

#include <cstddef>
#include <opencv2/core/mat.hpp>
#include <string>

namespace oznatool {

/// Whether a file name ends as the raw photographs do that the program reads, in letters of any
/// case. The ending decides: many raw files look like a TIFF file of their own thumbnail.
bool hasRawEnding(const std::string& name);

/// Decodes the preview that the camera laid into the file where its longer side has at least 1024
/// pixels and it shows the whole picture, else develops the picture at half its sides.
///
/// promised  The full picture's size as stored.
/// whole     Whether the result is to have that size: it is then enlarged.
/// Returns   8-bit red, green, blue, as stored; empty where the file cannot be decoded.
/// Errors    MissingModule; failed allocations pass through.
cv::Mat decodeRaw(const unsigned char* bytes, std::size_t size, const cv::Size& promised,
                  bool whole);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_RAW_PHOTOGRAPH_H_
