/// A dense matrix of floats that reads itself from and writes itself to a binary stream.

#ifndef OZNA_MP_MATRIX_H_
#define OZNA_MP_MATRIX_H_

#include <cstdint>

#include "mp/io_able.h"

namespace mp {

/// Row-major matrix of float.
///
/// File form  rows and cols as little-endian int64, then rows * cols float32; no cells where rows *
///            cols is 0.
/// Owners     The matrix owns its cells. Copies are deep; a moved-from matrix is empty.
/// Errors     Allocation failures raise std::bad_alloc and leave the object as it was.
class matrix : public io_able {
 public:
  matrix() = default;
  /// Cells are zero. A matrix without cells, as one with a side of 0 or below, has no data.
  matrix(std::int32_t rows, std::int32_t cols);
  matrix(const matrix& other);
  matrix(matrix&& other) noexcept;
  matrix& operator=(const matrix& other);
  matrix& operator=(matrix&& other) noexcept;
  ~matrix() override;

  const char* type_name() const override;  ///< "matrix_mp".
  bool save(std::ostream& out) const override;

  /// Reads the file form and replaces the content.
  ///
  /// limit    If not 0, and as an unsigned number below 4 * cells + 8, the matrix is refused. The
  ///          header of 16 bytes counts 8 here, so that a limit of an object's exact size has 8
  ///          bytes to spare.
  /// Returns  false for a refused matrix: the object is unchanged, the header is consumed.
  ///          Otherwise true.
  /// Errors   A stream that ends early goes unnoticed: cells that were not reached are 0. A matrix
  ///          with cells of which a side is below 0 or beyond 32 bits, or for which there is no
  ///          memory, raises std::bad_alloc and leaves the object as it was.
  bool load(std::istream& in, std::int64_t limit) override;

  /// Writes "[rows,cols]" and an end of line to the standard output, whatever stream is given, and
  /// the cells to the given stream: each followed by a blank, one line per row, also for rows
  /// without columns.
  void print(std::ostream& out) const override;

  bool is_valid() const override;  ///< Whether data is not null.

  /// Moves the stream past a matrix without keeping anything of it. Sides of which there can be no
  /// matrix set the stream's fail bit.
  virtual void skip(std::istream& in) const;

  void fill(float value);  ///< Sets every cell.

  float* data = nullptr;  ///< rows * cols cells, row after row. Owned; null without cells.
  std::int32_t rows = 0;
  std::int32_t cols = 0;
};

}  // namespace mp

#endif  // OZNA_MP_MATRIX_H_
