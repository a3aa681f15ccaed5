/// Reads whole files.

#ifndef OZNA_TOOLS_PHOTOGRAPH_FILE_BYTES_H_
#define OZNA_TOOLS_PHOTOGRAPH_FILE_BYTES_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/photograph/file_stamp.h"

namespace oznatool {

struct FileBytes {
  std::vector<unsigned char> bytes;  ///< At least one.
  std::optional<FileStamp> stamp;    ///< That of the file when it was opened.
};

/// Reads a photograph's file; input_file.h says which may be read.
///
/// largest  A larger file is refused; a regular one before it is read. At most 1 GiB, since the
///          decoders count bytes in an int.
/// Errors   PhotographFailure of kind kRead, kFormat (empty) or kMemory (too large).
FileBytes readFileBytes(const std::string& path, std::int64_t largest);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_FILE_BYTES_H_
