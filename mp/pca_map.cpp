// A linear map about a mean: its file form, its text form and the product.

#include "mp/pca_map.h"

#include <cblas.h>

#include <algorithm>

#include "caffe/util/vector_math.hpp"

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
  for (std::int32_t row = 0; row < count; ++row) {
    std::fill_n(y + std::int64_t{row} * y_stride, projection.cols, 0.0F);
  }
  const std::int32_t slice_inputs = std::min(mean.cols, kSliceInputs);
  matrix slice(count, slice_inputs);
  for (std::int32_t first = 0; first < mean.cols; first += slice_inputs) {
    const std::int32_t inputs = std::min(mean.cols - first, slice_inputs);
    for (std::int32_t row = 0; row < count; ++row) {
      std::copy_n(x + row * x_stride + first, inputs,
                  slice.data + std::int64_t{row} * slice_inputs);
    }
    add_slice(slice.data, slice_inputs, count, first, inputs, y, y_stride);
  }
}

void pca_map::add_slice(float* x, std::int32_t x_stride, std::int32_t count, std::int32_t first,
                        std::int32_t inputs, float* y, std::int32_t y_stride) const {
  const std::int32_t outputs = projection.cols;
  const std::int32_t present = std::min(inputs, mean.cols - first);
  if (present <= 0) {
    return;
  }
  for (std::int32_t row = 0; row < count; ++row) {
    float* inputs_of_row = x + std::int64_t{row} * x_stride;
    vsSub(present, inputs_of_row, mean.data + first, inputs_of_row);
  }
  const float* weights = projection.data + std::int64_t{first} * outputs;
  if (count == 1) {
    cblas_sgemv(CblasRowMajor, CblasTrans, present, outputs, 1.0F, weights, outputs, x, 1, 1.0F, y,
                1);
  } else {
    cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, count, outputs, present, 1.0F, x,
                x_stride, weights, outputs, 1.0F, y, y_stride);
  }
}

}  // namespace mp
