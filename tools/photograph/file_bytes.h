/// Reads whole files.

#ifndef OZNA_TOOLS_PHOTOGRAPH_FILE_BYTES_H_
#define OZNA_TOOLS_PHOTOGRAPH_FILE_BYTES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/photograph/file_stamp.h"

namespace oznatool {

/// The bytes of a photograph's file, at least one. input_file.h says what may be read.
///
/// largest  A larger file is refused; a regular one before it is read. At most 1 GiB, since the
/// decoders count bytes in an int.
/// stamp    Receives that of the file that was read, as soon as it is open; may be null.
/// Errors   PhotographFailure of kind kRead, kFormat (empty) or kMemory (too large).
std::vector<unsigned char> readFileBytes(const std::string& path, std::int64_t largest,
                                         std::optional<FileStamp>* stamp = nullptr);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_FILE_BYTES_H_
