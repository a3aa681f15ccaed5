// Headers by the metadata library, and what decoders need.

#include "tools/photograph_header.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <exiv2/exif.hpp>
#include <exiv2/image.hpp>
#include <sstream>
#include <string>

#include "tools/heif_photograph.h"
#include "tools/jpeg_structure.h"
#include "tools/metadata_library.h"
#include "tools/orientation.h"

namespace oznatool {
namespace {

FileFormat formatOf(const std::string& mime_type, const unsigned char* bytes, size_t size) {
  if (mime_type == "image/jpeg") {
    const std::optional<JpegFrame> frame = jpegFrame(bytes, size);
    return frame && frame->is_progressive ? FileFormat::kProgressiveJpeg : FileFormat::kJpeg;
  }
  if (mime_type == "image/png") return FileFormat::kPng;
  if (mime_type == "image/tiff") return FileFormat::kTiff;
  if (mime_type == "image/webp") return FileFormat::kWebp;
  return FileFormat::kOther;
}

int orientationIn(const Exiv2::ExifData& exif) {
  const auto found = exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation"));
  if (found == exif.end() || found->count() == 0) return kUpright;
  const long orientation = found->toLong();
  return orientation >= 1 && orientation <= 8 ? static_cast<int>(orientation) : kUpright;
}

// The size in a PNG file's first chunk.
std::optional<cv::Size> pngSize(const unsigned char* bytes, size_t size) {
  constexpr size_t kSizeAt = 16;
  if (size < kSizeAt + 8 || std::memcmp(bytes, "\x89PNG\r\n\x1A\n", 8) != 0) return std::nullopt;
  const auto number = [bytes](size_t at) {
    return bytes[at] << 24 | bytes[at + 1] << 16 | bytes[at + 2] << 8 | bytes[at + 3];
  };
  return cv::Size(number(kSizeAt), number(kSizeAt + 4));
}

// The size behind the first two characters of a portable anymap.
std::optional<cv::Size> anymapSize(const unsigned char* bytes, size_t size) {
  if (size < 2 || bytes[0] != 'P' || bytes[1] < '1' || bytes[1] > '6') return std::nullopt;
  constexpr size_t kLongestHeader = 65536;  // Comments have any length.
  std::istringstream text(std::string(bytes + 2, bytes + std::min(size, kLongestHeader)));
  int sides[2] = {0, 0};
  for (int& side : sides) {
    while (text >> std::ws && text.peek() == '#') {
      text.ignore(kLongestHeader, '\n');
    }
    text >> side;
  }
  return text ? std::optional<cv::Size>({sides[0], sides[1]}) : std::nullopt;
}

// Where the metadata library gives up on a file whose pixels may be whole.
void readWithoutLibrary(const unsigned char* bytes, size_t size, PhotographHeader* header) {
  if (const auto png = pngSize(bytes, size)) {
    header->format = FileFormat::kPng;
    header->stored = png;
  } else if (const auto jpeg = jpegFrame(bytes, size)) {
    header->format = jpeg->is_progressive ? FileFormat::kProgressiveJpeg : FileFormat::kJpeg;
    header->stored = cv::Size(jpeg->width, jpeg->height);
  } else {
    header->stored = anymapSize(bytes, size);
  }
}

// Bytes a pixel, besides the three of the result, that a decoder holds at its peak.
int decoderBytes(FileFormat format) {
  switch (format) {
    case FileFormat::kJpeg:
      return 0;  // A few rows.
    case FileFormat::kProgressiveJpeg:
      return 6;  // A 16-bit coefficient a sample.
    case FileFormat::kPng:
      return 0;  // A row.
    case FileFormat::kTiff:
      return 8;  // A strip, which may be the whole image, of four 16-bit samples.
    case FileFormat::kWebp:
      return 8;  // Planes or 32-bit pixels, and their conversion.
    case FileFormat::kHeif:
      return 9;  // Planes, their conversion, and the turned copy of either.
    case FileFormat::kOther:
      return 8;
  }
  return 0;
}

}  // namespace

PhotographHeader readHeader(const unsigned char* bytes, size_t size) {
  PhotographHeader header;
  if (isHeif(bytes, size)) {
    header.format = FileFormat::kHeif;
    header.stored = heifSize(bytes, size);
    return header;
  }
  const MetadataLibrary library;
  try {
    const auto image = Exiv2::ImageFactory::open(bytes, static_cast<long>(size));
    header.format = formatOf(image->mimeType(), bytes, size);
    image->readMetadata();
    if (image->pixelWidth() > 0 && image->pixelHeight() > 0) {
      header.stored = cv::Size(image->pixelWidth(), image->pixelHeight());
    }
    header.orientation = orientationIn(image->exifData());
  } catch (const std::exception&) {
    // The decoder has the last word on what is damaged.
  }
  if (!header.stored) readWithoutLibrary(bytes, size, &header);
  if (header.stored && (header.stored->width < 1 || header.stored->height < 1)) {
    header.stored.reset();
  }
  return header;
}

std::int64_t decodingMemory(const PhotographHeader& header) {
  // A header may lie: held where the product below still fits.
  constexpr std::int64_t kMostPixels = std::int64_t{1} << 50;
  const std::int64_t pixels = std::min(
      kMostPixels, static_cast<std::int64_t>(header.stored->width) * header.stored->height);
  const int turning = exchangesSides(header.orientation) ? 3 : 0;
  return pixels * (3 + std::max(decoderBytes(header.format), turning));
}

}  // namespace oznatool
