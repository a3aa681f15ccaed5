// SHA-256 by libmd.

#include "tools/commands/checksum.h"

#include <sha256.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/process/input_file.h"

namespace oznatool {

std::string sha256OfFile(const std::string& path) {
  SHA256_CTX state;
  SHA256Init(&state);
  try {
    InputFile file(path);
    std::vector<char> part(std::size_t{1} << 16);
    while (const std::size_t count = file.read(part.data(), part.size())) {
      SHA256Update(&state, reinterpret_cast<const std::uint8_t*>(part.data()), count);
    }
  } catch (const Unreadable&) {
    return "";
  }
  std::array<char, SHA256_DIGEST_STRING_LENGTH> digits;
  return SHA256End(&state, digits.data());
}

}  // namespace oznatool
