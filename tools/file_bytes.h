/// Reads whole files.

#ifndef OZNA_TOOLS_FILE_BYTES_H_
#define OZNA_TOOLS_FILE_BYTES_H_

#include <cstdint>
#include <string>
#include <vector>

namespace oznatool {

/// The bytes of a photograph's file, at least one. What may be read is told in input_file.h.
///
/// largest  A larger file is refused; a regular one before it is read. At most 1 GiB, since the
/// decoders count bytes in an int.
/// Errors   PhotographFailure of kind kRead, kFormat (empty) or kMemory (too large).
std::vector<unsigned char> readFileBytes(const std::string& path, std::int64_t largest);

}  // namespace oznatool

#endif  // OZNA_TOOLS_FILE_BYTES_H_
