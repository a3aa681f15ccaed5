// Mirroring pairs, extents and errors of landmark shapes.

#include "training/alignment/shapes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace alignment_training {
namespace {

using Pairing = std::array<int, kLandmarks>;

void pair(Pairing& pairing, int one, int other) {
  pairing[one] = other;
  pairing[other] = one;
}

Pairing makePairing() {
  Pairing pairing{};
  for (int i = 0; i < kLandmarks; ++i) pairing[i] = i;
  for (int i = 0; i < 8; ++i) pair(pairing, i, 16 - i);       // Jaw.
  for (int i = 0; i < 5; ++i) pair(pairing, 17 + i, 26 - i);  // Brows.
  for (int i = 0; i < 2; ++i) pair(pairing, 31 + i, 35 - i);  // Nostrils.
  for (int i = 0; i < 4; ++i) pair(pairing, 36 + i, 45 - i);  // Eyes: corner, upper lid, corner,
  pair(pairing, 40, 47);                                      // then the lower lids,
  pair(pairing, 41, 46);                                      // which run backwards.
  for (int i = 0; i < 3; ++i) pair(pairing, 48 + i, 54 - i);  // Outer lips, upper edge,
  for (int i = 0; i < 2; ++i) pair(pairing, 55 + i, 59 - i);  // lower edge.
  for (int i = 0; i < 2; ++i) pair(pairing, 60 + i, 64 - i);  // Inner lips, upper edge,
  pair(pairing, 65, 67);                                      // lower edge.
  return pairing;
}

}  // namespace

Extent extentOf(const Shape& shape) {
  Extent extent{shape[0], shape[1], shape[0], shape[1]};
  for (std::size_t i = 0; i + 1 < shape.size(); i += 2) {
    extent.left = std::min(extent.left, shape[i]);
    extent.right = std::max(extent.right, shape[i]);
    extent.top = std::min(extent.top, shape[i + 1]);
    extent.bottom = std::max(extent.bottom, shape[i + 1]);
  }
  return extent;
}

int mirroredLandmark(int landmark) {
  static const Pairing kPairing = makePairing();
  return kPairing[landmark];
}

Shape mirrorShape(const Shape& shape, int photo_width) {
  Shape mirrored(shape.size());
  for (int i = 0; i < kLandmarks; ++i) {
    const int from = mirroredLandmark(i);
    mirrored[2 * i] = static_cast<float>(photo_width - 1) - shape[2 * from];
    mirrored[2 * i + 1] = shape[2 * from + 1];
  }
  return mirrored;
}

float outerEyeDistance(const Shape& truth) {
  return std::hypot(truth[2 * 36] - truth[2 * 45], truth[2 * 36 + 1] - truth[2 * 45 + 1]);
}

float normalisedError(const Shape& found, const Shape& truth) {
  double sum = 0;
  for (int i = 0; i < kLandmarks; ++i) {
    sum += std::hypot(found[2 * i] - truth[2 * i], found[2 * i + 1] - truth[2 * i + 1]);
  }
  return static_cast<float>(sum / kLandmarks / outerEyeDistance(truth));
}

}  // namespace alignment_training
