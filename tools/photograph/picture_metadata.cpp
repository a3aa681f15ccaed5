// Metadata by the metadata library, and the profile of HEIC by its decoder.

#include "tools/photograph/picture_metadata.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <exiv2/exif.hpp>
#include <exiv2/image.hpp>
#include <new>

#include "tools/photograph/codec_modules.h"
#include "tools/photograph/metadata_library.h"

namespace oznatool {
namespace {

// Of the main directory, the fields that speak of the photograph and not of how its pixels lie in a
// file.
constexpr std::array<const char*, 12> kKept = {
    "ImageDescription", "Make",      "Model",   "Software", "DateTime",      "Artist",
    "HostComputer",     "Copyright", "XPTitle", "Rating",   "RatingPercent", "XPKeywords"};

bool isKept(const Exiv2::Exifdatum& field) {
  const std::string group = field.groupName();
  if (group == "Image") {
    return std::find(kKept.begin(), kKept.end(), field.tagName()) != kKept.end();
  }
  return group != "Thumbnail" && group.rfind("SubImage", 0) != 0 && group.rfind("Image", 0) != 0;
}

Bytes bytesOf(const Exiv2::DataBuf& buffer) {
  return {buffer.pData_, buffer.pData_ + buffer.size_};
}

// Whether the bytes begin as a file of the HEIF family, whose Exif data count from another place.
bool isHeif(const unsigned char* bytes, std::size_t size) {
  return size >= 12 && std::equal(bytes + 4, bytes + 8, "ftyp") && heifModule().isHeif(bytes, size);
}

// The metadata library, up to the version in use, gives the profile of a WebP file that had none of
// the longer form's chunks the name of the chunk before it, and no reader then finds it.
void nameProfileChunk(Bytes& file) {
  constexpr std::size_t kFirst = 12;  // Behind the header of the file.
  constexpr std::size_t kSecond = 30;
  const std::string name = "VP8X";
  const std::string right = "ICCP";
  if (file.size() < kSecond + 4 || !std::equal(name.begin(), name.end(), file.begin() + kFirst) ||
      !std::equal(name.begin(), name.end(), file.begin() + kSecond)) {
    return;
  }
  std::copy(right.begin(), right.end(), file.begin() + kSecond);
}

}  // namespace

PictureMetadata metadataOf(const unsigned char* bytes, std::size_t size) {
  PictureMetadata metadata;
  if (isHeif(bytes, size)) {
    metadata.colour_profile = heifModule().colourProfile(bytes, size);
    return metadata;
  }
  const MetadataLibrary library;
  try {
    const auto image = Exiv2::ImageFactory::open(bytes, static_cast<long>(size));
    image->readMetadata();
    if (image->iccProfileDefined()) metadata.colour_profile = bytesOf(*image->iccProfile());
    Exiv2::ExifData kept;
    for (const Exiv2::Exifdatum& field : image->exifData()) {
      // A TIFF file keeps its profile among these fields.
      if (field.key() == "Exif.Image.InterColorProfile" && metadata.colour_profile.empty()) {
        metadata.colour_profile.resize(static_cast<std::size_t>(field.size()));
        field.copy(metadata.colour_profile.data(), Exiv2::littleEndian);
      }
      if (isKept(field)) kept.add(field);
    }
    if (kept.empty()) return metadata;
    Exiv2::Blob blob;
    Exiv2::ExifParser::encode(blob, Exiv2::littleEndian, kept);
    metadata.exif.assign(blob.begin(), blob.end());
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    // Damaged metadata do no harm to the pixels.
  }
  return metadata;
}

Bytes withMetadata(const Bytes& copy, const PictureMetadata& metadata, const cv::Size& size) {
  if (metadata.colour_profile.empty() && metadata.exif.empty()) return copy;
  const MetadataLibrary library;
  try {
    const auto image = Exiv2::ImageFactory::open(copy.data(), static_cast<long>(copy.size()));
    image->readMetadata();
    Exiv2::ExifData& fields = image->exifData();
    if (!metadata.exif.empty()) {
      Exiv2::ExifData kept;
      Exiv2::ExifParser::decode(kept, metadata.exif.data(),
                                static_cast<std::uint32_t>(metadata.exif.size()));
      for (const Exiv2::Exifdatum& field : kept) fields.add(field);
      for (const auto& [key, side] : {std::pair("Exif.Photo.PixelXDimension", size.width),
                                      std::pair("Exif.Photo.PixelYDimension", size.height)}) {
        if (fields.findKey(Exiv2::ExifKey(key)) != fields.end()) {
          fields[key] = static_cast<std::uint32_t>(side);
        }
      }
    }
    if (!metadata.colour_profile.empty()) {
      Exiv2::DataBuf profile(metadata.colour_profile.data(),
                             static_cast<long>(metadata.colour_profile.size()));
      image->setIccProfile(profile);
    }
    image->writeMetadata();
    Exiv2::BasicIo& io = image->io();
    const Exiv2::IoCloser closer(io);
    if (io.open() != 0) return copy;
    Bytes written = bytesOf(io.read(static_cast<long>(io.size())));
    nameProfileChunk(written);
    return written;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return copy;
  }
}

}  // namespace oznatool
