/// Checksums of files.

#ifndef OZNA_TOOLS_COMMANDS_CHECKSUM_H_
#define OZNA_TOOLS_COMMANDS_CHECKSUM_H_

#include <string>

namespace oznatool {

/// The SHA-256 of a file as 64 hexadecimal digits, as sha256sum prints it; empty where the file
/// cannot be read. Cost: one pass over the file.
std::string sha256OfFile(const std::string& path);

}  // namespace oznatool

#endif  // OZNA_TOOLS_COMMANDS_CHECKSUM_H_
