/// A made picture with smooth, rough and flat parts, and the pyramid of one.

#ifndef OZNA_TESTS_ALIGNMENT_TEXTURED_PYRAMID_H_
#define OZNA_TESTS_ALIGNMENT_TEXTURED_PYRAMID_H_

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "alignment/descriptor_pyramid.h"

namespace textured {

/// Blobs and noise with a flat, black strip on the right.
inline std::vector<std::uint8_t> texture(int width, int height, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(width) * height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width * 3 / 4; ++x) {
      const double wave = 90 + 60 * std::sin(x * 0.21) * std::cos(y * 0.17);
      pixels[static_cast<std::size_t>(y) * width + x] =
          static_cast<std::uint8_t>(wave + static_cast<double>(random() % 60));
    }
  }
  return pixels;
}

/// With all its levels.
inline SDMCore::DescriptorPyramid built(const std::vector<std::uint8_t>& pixels, int width,
                                        int height, int levels) {
  SDMCore::DescriptorPyramid pyramid(static_cast<std::uint64_t>(width),
                                     static_cast<std::uint64_t>(height),
                                     static_cast<std::uint64_t>(levels));
  pyramid.setImage(pixels.data(), static_cast<std::uint64_t>(width),
                   static_cast<std::uint64_t>(height));
  pyramid.buildLevels();
  return pyramid;
}

}  // namespace textured

#endif  // OZNA_TESTS_ALIGNMENT_TEXTURED_PYRAMID_H_
