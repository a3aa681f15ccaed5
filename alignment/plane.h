/// A float image that owns its pixels.

#ifndef OZNA_ALIGNMENT_PLANE_H_
#define OZNA_ALIGNMENT_PLANE_H_

#include <cstdint>
#include <vector>

namespace SDMCore {

/// Rows follow each other without gaps: pixel (x, y) is data[y * width + x].
struct Plane {
  Plane() = default;
  Plane(std::uint64_t columns, std::uint64_t rows) { resize(columns, rows); }
  Plane(const Plane& other) : width(other.width), height(other.height), storage(other.storage) {
    refresh();
  }
  Plane(Plane&& other) noexcept { swap(other); }
  Plane& operator=(Plane other) noexcept {
    swap(other);
    return *this;
  }

  /// Changes the size. Only a plane that grows beyond its storage gets a new, zero-filled one;
  /// otherwise the floats stay as they are.
  void resize(std::uint64_t columns, std::uint64_t rows);

  void swap(Plane& other) noexcept;

  std::uint64_t width = 0;   ///< Floats in a row.
  std::uint64_t height = 0;  ///< Rows.
  float* data = nullptr;     ///< Start of storage; null when it is empty.
  std::vector<float> storage;

 private:
  void refresh() { data = storage.empty() ? nullptr : storage.data(); }
};

}  // namespace SDMCore

#endif  // OZNA_ALIGNMENT_PLANE_H_
