// Decoding, pixel format and border.

#include "tools/photograph.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <opencv2/imgcodecs.hpp>

#include "tools/heif_photograph.h"
#include "tools/jpeg_structure.h"
#include "tools/orientation.h"
#include "tools/photograph_failure.h"
#include "tools/pixel_order.h"
#include "tools/streams.h"

namespace oznatool {
namespace {

// Decodes into three 8-bit channels, red first, as stored. Empty where no decoder takes the bytes.
cv::Mat decodeStored(const std::vector<unsigned char>& bytes, FileFormat format) {
  const QuietStandardError quiet;
  if (format == FileFormat::kHeif) return decodeHeif(bytes.data(), bytes.size());
  cv::Mat pixels = cv::imdecode(bytes, cv::IMREAD_COLOR | cv::IMREAD_IGNORE_ORIENTATION);
  if (!pixels.empty() && pixels.type() == CV_8UC3) exchangeRedAndBlue(pixels);
  return pixels;
}

// The decoder turns TIFF files upright by itself, and offers no switch against it.
int orientationLeft(const PhotographHeader& header) {
  return header.format == FileFormat::kTiff ? kUpright : header.orientation;
}

}  // namespace

oznalib::Image Photograph::image() const { return {framed.cols, framed.rows, 0, framed.data}; }

Photograph decodePhotograph(const std::string& path, const std::vector<unsigned char>& bytes,
                            const PhotographHeader& header) {
  try {
    // The JPEG decoder fills the missing part with grey and reports success.
    if (isJpegCutShort(bytes.data(), bytes.size())) {
      throw PhotographFailure(path, FailureKind::kFormat, "is cut short");
    }
    cv::Mat pixels = decodeStored(bytes, header.format);
    if (pixels.empty() || pixels.type() != CV_8UC3) {
      throw PhotographFailure(path, FailureKind::kFormat,
                              "is damaged or not in a known image format");
    }
    turnUpright(pixels, orientationLeft(header));
    if (!pixels.isContinuous()) pixels = pixels.clone();
    return {path, header.orientation, pixels, 0, pixels};
  } catch (const cv::Exception&) {
    throw PhotographFailure(path, FailureKind::kFormat, "is damaged or has too many pixels");
  } catch (const std::bad_alloc&) {
    throw PhotographFailure(path, FailureKind::kMemory, "does not fit in memory");
  }
}

void addBorder(Photograph* photograph, int border_px) {
  if (border_px <= 0) return;
  const cv::Size size = photograph->pixels.size();
  cv::Mat framed;
  cv::copyMakeBorder(photograph->pixels, framed, border_px, border_px, border_px, border_px,
                     cv::BORDER_REPLICATE);
  photograph->framed = framed;
  photograph->border_px = border_px;
  photograph->pixels = framed(cv::Rect({border_px, border_px}, size));
}

int borderPixels(const cv::Size& photograph, double percent) {
  return static_cast<int>(
      std::lround(percent / 100 * std::max(photograph.width, photograph.height)));
}

}  // namespace oznatool
