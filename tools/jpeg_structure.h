/// Tells whether a JPEG file goes on to its end marker.

#ifndef OZNA_TOOLS_JPEG_STRUCTURE_H_
#define OZNA_TOOLS_JPEG_STRUCTURE_H_

#include <cstddef>

namespace oznatool {

/// Whether the bytes begin as a JPEG file and stop before its end-of-image marker.
///
/// False for anything that does not begin as JPEG. Pictures embedded in metadata do not count as
/// the end, and bytes behind the end are no concern. Cost: one pass over the bytes. Source  ITU-T
/// T.81, Annex B: markers and entropy-coded segments.
bool isJpegCutShort(const unsigned char* bytes, size_t size);

}  // namespace oznatool

#endif  // OZNA_TOOLS_JPEG_STRUCTURE_H_
