/// Tells from the markers of a JPEG file whether it goes on to its end and how it is coded.

#ifndef OZNA_TOOLS_JPEG_STRUCTURE_H_
#define OZNA_TOOLS_JPEG_STRUCTURE_H_

#include <cstddef>
#include <optional>

namespace oznatool {

/// Whether the bytes begin as a JPEG file and stop before its end-of-image marker.
///
/// False for anything that does not begin as JPEG. Pictures embedded in metadata do not count as
/// the end, and bytes behind the end are no concern. Cost: one pass over the bytes. Source  ITU-T
/// T.81, Annex B: markers and entropy-coded segments.
bool isJpegCutShort(const unsigned char* bytes, size_t size);

/// What the head of a frame says.
struct JpegFrame {
  int width;            ///< In pixels, as stored.
  int height;           ///< In pixels; 0 where it follows later, as in no photograph.
  bool is_progressive;  ///< Coded in several passes: a decoder holds all coefficients at once.
};

/// The first frame of a JPEG file; nothing where the bytes hold none. Cost: the segments before it.
std::optional<JpegFrame> jpegFrame(const unsigned char* bytes, size_t size);

}  // namespace oznatool

#endif  // OZNA_TOOLS_JPEG_STRUCTURE_H_
