// Decoding and pixel format.

#include "tools/photograph/photograph.h"

#include <new>
#include <opencv2/core.hpp>
#include <utility>

#include "tools/photograph/codec_modules.h"
#include "tools/photograph/jpeg_photograph.h"
#include "tools/photograph/orientation.h"
#include "tools/photograph/photograph_failure.h"
#include "tools/photograph/pixel_order.h"
#include "tools/photograph/png_photograph.h"
#include "tools/photograph/raw_photograph.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

bool isJpegFormat(FileFormat format) {
  return format == FileFormat::kJpeg || format == FileFormat::kProgressiveJpeg;
}

cv::Mat decodePicture(const std::vector<unsigned char>& bytes, const cv::Size& promised) {
  const PictureModule& module = pictureModule();
  const QuietStandardError quiet;
  cv::Mat pixels =
      module.decode(bytes, static_cast<std::int64_t>(promised.width) * promised.height);
  if (!pixels.empty()) exchangeRedAndBlue(pixels);
  return pixels;
}

struct StoredPicture {
  cv::Mat pixels;  // Three 8-bit channels, red first; empty where no decoder takes the bytes.
  bool is_cut_short = false;  // The file ends early.
};

StoredPicture decodeStored(const std::vector<unsigned char>& bytes, const PhotographHeader& header,
                           int reduction, Purpose purpose) {
  if (isJpegFormat(header.format)) {
    const DecodedJpeg decoded = decodeJpeg(bytes.data(), bytes.size(), *header.stored, reduction);
    return {decoded.pixels, decoded.is_cut_short};
  }
  if (header.format == FileFormat::kRaw) {
    return {decodeRaw(bytes.data(), bytes.size(), *header.stored, purpose != Purpose::kSearch)};
  }
  if (header.format == FileFormat::kGif) {
    return {frameModule().gif(bytes.data(), bytes.size(), *header.stored)};
  }
  if (header.format == FileFormat::kAnimatedWebp) {
    return {frameModule().webp(bytes.data(), bytes.size(), *header.stored)};
  }
  if (header.format == FileFormat::kPng) {
    return {decodePng(bytes.data(), bytes.size(), *header.stored)};
  }
  if (header.format != FileFormat::kHeif) return {decodePicture(bytes, *header.stored)};
  const HeifModule& module = heifModule();
  const QuietStandardError quiet;
  return {module.decode(bytes.data(), bytes.size(), *header.stored)};
}

// The decoder turns TIFF files upright by itself, and offers no switch against it.
int orientationLeft(const PhotographHeader& header) {
  return header.format == FileFormat::kTiff ? kUpright : header.orientation;
}

// What a copy keeps beside the pixels.
void readForCopy(const std::vector<unsigned char>& bytes, const PhotographHeader& header,
                 Photograph& photograph) {
  photograph.metadata = metadataOf(bytes.data(), bytes.size());
  if (!mayHaveAlpha(header.format)) return;
  const std::int64_t pixels =
      static_cast<std::int64_t>(header.stored->width) * header.stored->height;
  cv::Mat alpha;
  {
    const PictureModule& module = pictureModule();
    const QuietStandardError quiet;
    alpha = module.decodeAlpha(bytes, pixels);
  }
  if (!alpha.empty()) turnUpright(alpha, orientationLeft(header));
  if (alpha.size() == photograph.size) photograph.alpha = alpha;
}

// Where the reduced picture begins when it is upright. What it stands for beyond the stored one
// lies behind the last column and row, and comes to lie before the first where that side is turned
// over.
cv::Point originOf(const PhotographHeader& header, int reduction) {
  const cv::Size reduced = reducedSize(*header.stored, reduction);
  cv::Point beyond(reduced.width * reduction - header.stored->width,
                   reduced.height * reduction - header.stored->height);
  if (exchangesSides(header.orientation)) std::swap(beyond.x, beyond.y);
  return {mirrorsColumns(header.orientation) ? -beyond.x : 0,
          mirrorsRows(header.orientation) ? -beyond.y : 0};
}

}  // namespace

void Photograph::enlarge(Face& face) const {
  if (reduction == 1 && scale == cv::Size2f(1, 1)) return;
  const float times_x = scale.width * static_cast<float>(reduction);
  const float times_y = scale.height * static_cast<float>(reduction);
  const auto x0 = static_cast<float>(origin.x);
  const auto y0 = static_cast<float>(origin.y);
  oznakit::Box& rect = face.rect;
  rect = {x0 + times_x * rect.left, y0 + times_y * rect.top, x0 + times_x * rect.right,
          y0 + times_y * rect.bottom};
  // Landmarks count from the centre of the first pixel, edges from its edge.
  for (std::size_t i = 0; i < face.points.size(); ++i) {
    const float times = i % 2 == 0 ? times_x : times_y;
    face.points[i] = (i % 2 == 0 ? x0 : y0) + times * (face.points[i] + 0.5F) - 0.5F;
  }
}

oznakit::Image imageOf(const cv::Mat& pixels) {
  oznakit::Image image;
  image.pixels = pixels.data;
  image.width = pixels.cols;
  image.height = pixels.rows;
  image.row_bytes = static_cast<std::ptrdiff_t>(pixels.step);
  return image;
}

Photograph decodePhotograph(const std::string& path, const std::vector<unsigned char>& bytes,
                            const PhotographHeader& header, int reduction, Purpose purpose) {
  try {
    auto [pixels, is_cut_short] = decodeStored(bytes, header, reduction, purpose);
    if (pixels.empty() || pixels.type() != CV_8UC3) {
      throw PhotographFailure(path, FailureKind::kFormat, "is damaged");
    }
    turnUpright(pixels, orientationLeft(header));
    const bool is_whole = reduction == 1 && header.format != FileFormat::kRaw;
    const cv::Size size = is_whole ? pixels.size() : uprightSize(header);
    Photograph photograph = {path, header.orientation, pixels,
                             size, reduction,          originOf(header, reduction)};
    photograph.is_cut_short = is_cut_short;
    if (header.format == FileFormat::kRaw) {
      photograph.scale = {static_cast<float>(size.width) / static_cast<float>(pixels.cols),
                          static_cast<float>(size.height) / static_cast<float>(pixels.rows)};
    }
    if (purpose == Purpose::kCopy) readForCopy(bytes, header, photograph);
    return photograph;
  } catch (const MissingModule& missing) {
    throw PhotographFailure(path, FailureKind::kFormat,
                            std::string("cannot be decoded: ") + missing.what());
  } catch (const cv::Exception& error) {
    if (error.code == cv::Error::StsNoMem) {
      throw PhotographFailure(path, FailureKind::kMemory, "does not fit in memory");
    }
    throw PhotographFailure(path, FailureKind::kFormat, "is damaged or has too many pixels");
  } catch (const std::bad_alloc&) {
    throw PhotographFailure(path, FailureKind::kMemory, "does not fit in memory");
  }
}

}  // namespace oznatool
