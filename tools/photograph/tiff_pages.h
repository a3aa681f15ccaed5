/// How many pictures a TIFF file holds: decoders read the first one alone.

#ifndef OZNA_TOOLS_PHOTOGRAPH_TIFF_PAGES_H_
#define OZNA_TOOLS_PHOTOGRAPH_TIFF_PAGES_H_

#include <cstddef>

namespace oznatool {

/// The number of pages of a TIFF or BigTIFF file, without those that say of themselves that they
/// are smaller versions of another page or masks. 0 where the bytes are no such file.
///
/// Damage ends the count: what was counted before it holds. At most 65536.
std::size_t tiffPages(const unsigned char* bytes, std::size_t size);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_TIFF_PAGES_H_
