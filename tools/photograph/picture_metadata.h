/// What a picture file says beside its pixels, and what of it a drawn copy keeps.

#ifndef OZNA_TOOLS_PHOTOGRAPH_PICTURE_METADATA_H_
#define OZNA_TOOLS_PHOTOGRAPH_PICTURE_METADATA_H_

#include <cstddef>
#include <opencv2/core/types.hpp>
#include <string>

#include "tools/process/bytes.h"

namespace oznatool {

/// The colour profile, and the Exif data as a block of bytes; empty where there are none.
struct PictureMetadata {
  Bytes colour_profile;
  Bytes exif;
};

/// Reads what a copy of a photograph keeps: its colour profile, without which its colours change,
/// and its Exif data less what is no longer true of an upright copy with drawings: orientation,
/// thumbnail, and how the pixels lie in the file. Damaged metadata are left out.
///
/// bytes  The file of the photograph.
PictureMetadata metadataOf(const unsigned char* bytes, std::size_t size);

/// Puts the metadata into the file of a copy. size  Of the copy in pixels. A format that has no
/// place for them, and one that the metadata library does not write, is given back as it was.
Bytes withMetadata(const Bytes& copy, const PictureMetadata& metadata, const cv::Size& size);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_PICTURE_METADATA_H_
