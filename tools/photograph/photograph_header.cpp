// Headers by the decoders or the metadata library, and what decoders need.

#include "tools/photograph/photograph_header.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <exception>
#include <exiv2/exif.hpp>
#include <exiv2/image.hpp>
#include <sstream>
#include <string>

#include "tools/photograph/animation.h"
#include "tools/photograph/codec_modules.h"
#include "tools/photograph/jpeg_photograph.h"
#include "tools/photograph/metadata_library.h"
#include "tools/photograph/orientation.h"
#include "tools/photograph/png_photograph.h"
#include "tools/photograph/tiff_pages.h"

namespace oznatool {
namespace {

FileFormat formatOf(const std::string& mime_type) {
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

// The size of a portable arbitrary map: lines of a word and a number, in any order.
std::optional<cv::Size> pamSize(const unsigned char* bytes, std::size_t size) {
  constexpr std::size_t kLongestHeader = 65536;
  std::istringstream text(std::string(bytes, bytes + std::min(size, kLongestHeader)));
  cv::Size sides;
  for (std::string line; std::getline(text, line) && line != "ENDHDR";) {
    std::istringstream words(line);
    std::string word;
    words >> word;
    if (word == "WIDTH") words >> sides.width;
    if (word == "HEIGHT") words >> sides.height;
  }
  return sides.empty() ? std::nullopt : std::optional<cv::Size>(sides);
}

// The size behind the first two characters of a portable anymap.
std::optional<cv::Size> anymapSize(const unsigned char* bytes, std::size_t size) {
  if (size < 2 || bytes[0] != 'P' || bytes[1] < '1' || bytes[1] > '7') return std::nullopt;
  if (bytes[1] == '7') return pamSize(bytes, size);
  constexpr std::size_t kLongestHeader = 65536;  // Comments have any length.
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

PhotographHeader jpegHeader(const unsigned char* bytes, std::size_t size) {
  PhotographHeader header;
  header.format = FileFormat::kJpeg;
  const std::optional<JpegHead> head = jpegHead(bytes, size);
  if (!head) return header;
  if (head->is_progressive) header.format = FileFormat::kProgressiveJpeg;
  header.stored = head->stored;
  if (head->exif.empty()) return header;
  const MetadataLibrary library;
  try {
    Exiv2::ExifData exif;
    Exiv2::ExifParser::decode(exif, head->exif.data(),
                              static_cast<std::uint32_t>(head->exif.size()));
    header.orientation = orientationIn(exif);
  } catch (const std::exception&) {
    // Damaged metadata do no harm to the pixels.
  }
  return header;
}

PhotographHeader rawHeader(const unsigned char* bytes, std::size_t size) {
  PhotographHeader header;
  header.format = FileFormat::kRaw;
  const std::optional<RawHead> head = rawModule().head(bytes, size);
  if (!head) return header;
  header.stored = head->stored;
  header.orientation = head->orientation;
  return header;
}

PhotographHeader gifHeader(const unsigned char* bytes, std::size_t size) {
  PhotographHeader header;
  header.format = FileFormat::kGif;
  const cv::Size screen(bytes[6] | bytes[7] << 8, bytes[8] | bytes[9] << 8);
  if (!screen.empty()) header.stored = screen;
  header.pages = std::max<std::size_t>(1, framesOf(bytes, size));
  return header;
}

PhotographHeader heifHeader(const unsigned char* bytes, std::size_t size) {
  PhotographHeader header;
  header.format = FileFormat::kHeif;
  header.stored = heifModule().sizeOf(bytes, size);
  return header;
}

// Files of this family begin with a box of this type, as do films.
bool mayBeHeif(const unsigned char* bytes, std::size_t size) {
  return size >= 12 && std::memcmp(bytes + 4, "ftyp", 4) == 0;
}

// What the metadata library finds. size_is_told  Whether it is asked for the size too.
void readMetadata(const unsigned char* bytes, std::size_t size, bool size_is_told,
                  PhotographHeader& header) {
  const MetadataLibrary library;
  try {
    const auto image = Exiv2::ImageFactory::open(bytes, static_cast<long>(size));
    if (!size_is_told) header.format = formatOf(image->mimeType());
    image->readMetadata();
    if (!size_is_told && image->pixelWidth() > 0 && image->pixelHeight() > 0) {
      header.stored = cv::Size(image->pixelWidth(), image->pixelHeight());
    }
    header.orientation = orientationIn(image->exifData());
  } catch (const std::exception&) {
    // The decoder has the last word on what is damaged.
  }
}

// Bytes per pixel, besides the three of the result, that a decoder holds at its peak.
int decoderBytes(FileFormat format) {
  switch (format) {
    case FileFormat::kJpeg:
      return 0;  // A few rows.
    case FileFormat::kProgressiveJpeg:
      return 6;  // A 16-bit coefficient per sample.
    case FileFormat::kPng:
      return 0;  // A row.
    case FileFormat::kTiff:
      return 8;  // A strip, which may be the whole image, of four 16-bit samples.
    case FileFormat::kWebp:
      return 8;  // Planes or 32-bit pixels, and their conversion.
    case FileFormat::kAnimatedWebp:
      return 12;  // Two canvases and a frame, of 32-bit pixels.
    case FileFormat::kGif:
      return 1;  // An index.
    case FileFormat::kRaw:
      return 8;  // A sensor's 16 bits, the quarter of four channels, and the preview.
    case FileFormat::kHeif:
      return 9;  // Planes, their conversion, and the turned copy of either.
    case FileFormat::kOther:
      return 8;
  }
  return 0;
}

}  // namespace

PhotographHeader readHeader(const unsigned char* bytes, std::size_t size, bool is_raw) {
  if (is_raw) return rawHeader(bytes, size);
  if (isJpeg(bytes, size)) return jpegHeader(bytes, size);
  if (mayBeHeif(bytes, size) && heifModule().isHeif(bytes, size)) return heifHeader(bytes, size);
  if (isGif(bytes, size)) return gifHeader(bytes, size);
  PhotographHeader header;
  const bool is_png = isPng(bytes, size);
  if (is_png) {
    header.format = FileFormat::kPng;
    header.stored = pngSize(bytes, size);
  }
  readMetadata(bytes, size, /*size_is_told=*/is_png, header);
  if (header.format == FileFormat::kTiff) {
    header.pages = std::max<std::size_t>(1, tiffPages(bytes, size));
  }
  if (isAnimatedWebp(bytes, size)) {
    header.format = FileFormat::kAnimatedWebp;
    header.pages = std::max<std::size_t>(1, framesOf(bytes, size));
  }
  if (!header.stored) header.stored = anymapSize(bytes, size);
  if (header.stored && (header.stored->width < 1 || header.stored->height < 1)) {
    header.stored.reset();
  }
  return header;
}

bool mayHaveAlpha(FileFormat format) {
  return format == FileFormat::kPng || format == FileFormat::kTiff || format == FileFormat::kWebp;
}

cv::Size uprightSize(const PhotographHeader& header) {
  return exchangesSides(header.orientation) ? cv::Size(header.stored->height, header.stored->width)
                                            : *header.stored;
}

std::int64_t decodingMemory(const PhotographHeader& header, int reduction, bool for_copy) {
  // A header may lie: held where the product below still fits.
  constexpr std::int64_t kMostPixels = std::int64_t{1} << 50;
  const std::int64_t pixels = std::min(
      kMostPixels, static_cast<std::int64_t>(header.stored->width) * header.stored->height);
  const cv::Size reduced = reducedSize(*header.stored, reduction);
  const std::int64_t kept =
      reduction == 1 ? pixels : static_cast<std::int64_t>(reduced.width) * reduced.height;
  const int turning = exchangesSides(header.orientation) ? 3 : 0;
  // Four channels of 16 bits, of which the last one stays.
  const int alpha = for_copy && mayHaveAlpha(header.format) ? 9 : 0;
  return 3 * kept +
         std::max({pixels * decoderBytes(header.format), kept * turning, pixels * alpha});
}

}  // namespace oznatool
