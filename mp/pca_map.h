/// A linear map about a mean: y = (x - mean) * projection.

#ifndef OZNA_MP_PCA_MAP_H_
#define OZNA_MP_PCA_MAP_H_

#include <cstdint>

#include "mp/io_able.h"
#include "mp/matrix.h"

namespace mp {

/// Maps K values to N values.
///
/// File form  The file form of mean, then that of projection, with nothing around them.
class pca_map : public io_able {
 public:
  const char* type_name() const override;  ///< "pca_map_mp".
  bool save(std::ostream& out) const override;

  /// Gives each of the two matrices the same limit and ignores what they answer. Returns true
  /// always.
  bool load(std::istream& in, std::int64_t limit) override;

  void print(std::ostream& out) const override;
  bool is_valid() const override;  ///< Whether both matrices hold data.

  /// y = (x - mean) * projection.
  ///
  /// x        K floats, K = mean.cols.
  /// y        N floats, N = projection.cols; overwritten.
  /// Errors   Sizes are not checked: projection must hold K * N cells.
  /// Threads  Any number at once. Cost: reads projection once, K * N multiply-adds.
  void project(const float* x, float* y) const;

  /// As project for several inputs, reading projection once for all of them.
  ///
  /// x         count rows of K floats.
  /// x_stride  Floats from one row of x to the next, at least K.
  /// y         count rows of N floats; overwritten. Each row equals that of project up to the order
  ///           of summation.
  /// y_stride  Floats from one row of y to the next, at least N. What lies between the rows stays.
  void project_rows(const float* x, std::int64_t x_stride, std::int32_t count, float* y,
                    std::int32_t y_stride) const;

  /// Inputs of a slice that is multiplied at once. Its weights fit the cache of a core, from where
  /// a product of a few rows takes them several times faster than from the memory.
  static constexpr std::int32_t kSliceInputs = 256;

  /// Adds to y what inputs first to first + inputs - 1 alone give, as far as the map has them.
  ///
  /// x  count rows of inputs floats each, overwritten by their distance from the mean. The strides
  ///    are those of project_rows.
  void add_slice(float* x, std::int32_t x_stride, std::int32_t count, std::int32_t first,
                 std::int32_t inputs, float* y, std::int32_t y_stride) const;

  matrix mean;        ///< 1 by K.
  matrix projection;  ///< K by N.
};

}  // namespace mp

#endif  // OZNA_MP_PCA_MAP_H_
