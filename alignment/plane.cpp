// A float image that owns its pixels.

#include "alignment/plane.h"

#include <utility>

namespace SDMCore {

void Plane::resize(std::uint64_t columns, std::uint64_t rows) {
  if (columns * rows > storage.size()) {
    storage = std::vector<float>(columns * rows, 0.0F);
    refresh();
  }
  width = columns;
  height = rows;
}

void Plane::swap(Plane& other) noexcept {
  std::swap(width, other.width);
  std::swap(height, other.height);
  storage.swap(other.storage);
  refresh();
  other.refresh();
}

}  // namespace SDMCore
