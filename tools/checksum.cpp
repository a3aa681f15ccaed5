// SHA-256 by libmd.

#include "tools/checksum.h"

#include <sha256.h>

#include <array>

namespace oznatool {

std::string sha256OfFile(const std::string& path) {
  std::array<char, SHA256_DIGEST_STRING_LENGTH> digits;
  return SHA256File(path.c_str(), digits.data()) == nullptr ? "" : digits.data();
}

}  // namespace oznatool
