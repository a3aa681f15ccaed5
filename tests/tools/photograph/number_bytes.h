/// Numbers as the bytes of files.

#ifndef OZNA_TESTS_TOOLS_PHOTOGRAPH_NUMBER_BYTES_H_
#define OZNA_TESTS_TOOLS_PHOTOGRAPH_NUMBER_BYTES_H_

#include <cstddef>
#include <cstdint>
#include <string>

namespace ozna_test {

/// Appends a whole number of the width of T, its lowest byte first.
template <class T>
void put(std::string& bytes, T value) {
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    bytes += static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i) & 255);
  }
}

/// A number of 32 bits, its highest byte first.
inline std::string bigEndian(std::uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
  return bytes;
}

}  // namespace ozna_test

#endif  // OZNA_TESTS_TOOLS_PHOTOGRAPH_NUMBER_BYTES_H_
