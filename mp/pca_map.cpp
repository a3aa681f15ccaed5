// A linear map about a mean: its file form, its text form and the product.

#include "mp/pca_map.h"

#include <cblas.h>

#include "caffe/util/math_functions.hpp"

namespace mp {

const char* pca_map::type_name() const { return "pca_map_mp"; }

bool pca_map::save(std::ostream& out) const {
  mean.save(out);
  projection.save(out);
  return true;
}

bool pca_map::load(std::istream& in, std::int64_t limit) {
  mean.load(in, limit);
  projection.load(in, limit);
  return true;
}

void pca_map::print(std::ostream& out) const {
  out << "[mean] ";
  mean.print(out);
  out << "[projection] ";
  projection.print(out);
}

bool pca_map::is_valid() const { return mean.is_valid() && projection.is_valid(); }

void pca_map::project(const float* x, float* y) const {
  project_rows(x, mean.cols, 1, y, projection.cols);
}

void pca_map::project_rows(const float* x, std::int64_t x_stride, std::int32_t count, float* y,
                           std::int32_t y_stride) const {
  const std::int32_t inputs = mean.cols;
  const std::int32_t outputs = projection.cols;
  matrix centred(count, inputs);
  for (std::int32_t row = 0; row < count; ++row) {
    vsSub(inputs, x + row * x_stride, mean.data, centred.data + std::int64_t{row} * inputs);
  }
  cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, count, outputs, inputs, 1.0f, centred.data,
              inputs, projection.data, outputs, 0.0f, y, y_stride);
}

}  // namespace mp
