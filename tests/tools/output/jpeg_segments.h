/// JPEG files with segments of other programs, for the tests of what is written into photographs.

#ifndef OZNA_TESTS_TOOLS_OUTPUT_JPEG_SEGMENTS_H_
#define OZNA_TESTS_TOOLS_OUTPUT_JPEG_SEGMENTS_H_

#include <cstddef>
#include <string>

#include "tests/tools/program.h"

namespace ozna_test {

/// A JPEG segment.
inline std::string segment(char marker, const std::string& content) {
  const std::size_t length = content.size() + 2;
  return std::string("\xFF") + marker + static_cast<char>(length >> 8) +
         static_cast<char>(length & 0xFF) + content;
}

/// A JPEG file with bytes behind its first marker.
inline std::string withSegment(const std::string& jpeg, const std::string& inserted) {
  return jpeg.substr(0, 2) + inserted + jpeg.substr(2);
}

inline const std::string kPacketKey("http://ns.adobe.com/xap/1.0/\0", 29);
inline const std::string kMpf = segment('\xE2', std::string("MPF\0II*\0", 8));

/// A number of 32 bits.
inline std::string number(std::size_t value, bool is_big_endian) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) {
    bytes += static_cast<char>(value >> 8 * (is_big_endian ? 3 - i : i) & 0xFF);
  }
  return bytes;
}

/// An index of two pictures, as telephones write it.
inline std::string indexOf(std::size_t first_size, std::size_t second_place,
                           std::size_t second_size, bool is_big_endian) {
  const auto word = [&](std::size_t value) { return number(value, is_big_endian); };
  const auto half = [&](std::size_t value) {
    return is_big_endian ? word(value).substr(2) : word(value).substr(0, 2);
  };
  std::string index = is_big_endian ? std::string("MM\0*", 4) : std::string("II*\0", 4);
  index += word(8) + half(3);
  index += half(0xB000) + half(7) + word(4) + "0100";
  index += half(0xB001) + half(4) + word(1) + word(2);
  index += half(0xB002) + half(7) + word(32) + word(index.size() + 16);
  index += word(0);
  index += word(0x030000) + word(first_size) + word(0) + word(0);
  index += word(0) + word(second_size) + word(second_place) + word(0);
  return segment('\xE2', std::string("MPF\0", 4) + index);
}

/// A JPEG file with a second picture behind it, some zeros between them, and segments before and
/// behind the index.
inline std::string withSecondPicture(const std::string& before, const std::string& behind,
                                     const std::string& second, bool is_big_endian,
                                     const std::string& end = "") {
  const std::string jpeg = encoded(".jpg", gradientPicture(200, 100));
  const std::size_t index_size = indexOf(0, 0, 0, is_big_endian).size();
  const std::size_t size = jpeg.size() + before.size() + index_size + behind.size();
  const std::size_t base = 2 + before.size() + 8;  // Places count from behind "MPF".
  return withSegment(
             jpeg, before + indexOf(size, size + 5 - base, second.size(), is_big_endian) + behind) +
         std::string(5, '\0') + second + end;
}

}  // namespace ozna_test

#endif  // OZNA_TESTS_TOOLS_OUTPUT_JPEG_SEGMENTS_H_
