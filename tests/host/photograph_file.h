/// The photographs of the hosts, and how a host complains.

#ifndef OZNA_TESTS_HOST_PHOTOGRAPH_FILE_H_
#define OZNA_TESTS_HOST_PHOTOGRAPH_FILE_H_

#include <cstdint>
#include <string>
#include <vector>

namespace host {

struct Photograph {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::vector<std::uint8_t> pixels;  // Red, green, blue; rows without padding.
};

/// Reads a PPM file; ends the process where it cannot.
Photograph readPhotograph(const std::string& path);

/// Ends the process with a message where a condition does not hold.
void require(bool holds, const std::string& what);

}  // namespace host

#endif  // OZNA_TESTS_HOST_PHOTOGRAPH_FILE_H_
