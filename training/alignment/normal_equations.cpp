// Rank-k updates by BLAS and one Cholesky factorisation by LAPACK.

#include "training/alignment/normal_equations.h"

#include <cblas.h>

#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <string>

extern "C" {
void spotrf_(const char* triangle, const int* n, float* a, const int* lda, int* info);
void spotrs_(const char* triangle, const int* n, const int* sides, const float* a, const int* lda,
             float* b, const int* ldb, int* info);
}

namespace alignment_training {
namespace {

/// Solves by the upper triangle of gram (row-major), which becomes its factor. `sides` rows of
/// `right` become the solutions. LAPACK reads columns first: the upper triangle of rows is its
/// lower triangle of columns, and each right-hand side, a row here, is a column there.
void solveByCholesky(int features, int sides, float* gram, float* right) {
  const char triangle = 'L';
  int info = 0;
  spotrf_(&triangle, &features, gram, &features, &info);
  if (info != 0) {
    throw std::runtime_error("the ridge is too small: no Cholesky factor beyond row " +
                             std::to_string(info));
  }
  spotrs_(&triangle, &features, &sides, gram, &features, right, &features, &info);
}

}  // namespace

NormalEquations::NormalEquations(int features, int outputs)
    : features_(features),
      outputs_(outputs),
      gram_(static_cast<std::size_t>(features) * features),
      cross_(static_cast<std::size_t>(outputs) * features) {}

void NormalEquations::add(const float* x, const float* y, int rows) {
  if (rows == 0) return;
  cblas_ssyrk(CblasRowMajor, CblasUpper, CblasTrans, features_, rows, 1.0F, x, features_, 1.0F,
              gram_.data(), features_);
  cblas_sgemm(CblasRowMajor, CblasTrans, CblasNoTrans, outputs_, features_, rows, 1.0F, y, outputs_,
              x, features_, 1.0F, cross_.data(), features_);
}

void NormalEquations::accumulate(const NormalEquations& other, float factor) {
  for (std::size_t i = 0; i < gram_.size(); ++i) gram_[i] += factor * other.gram_[i];
  for (std::size_t i = 0; i < cross_.size(); ++i) cross_[i] += factor * other.cross_[i];
}

double NormalEquations::meanDiagonal() const {
  double sum = 0;
  for (int i = 0; i < features_; ++i) sum += gram_[static_cast<std::size_t>(i) * features_ + i];
  return sum / features_;
}

std::vector<float> NormalEquations::solveInPlace(double ridge) {
  for (int i = 0; i < features_; ++i) {
    gram_[static_cast<std::size_t>(i) * features_ + i] += static_cast<float>(ridge);
  }
  solveByCholesky(features_, outputs_, gram_.data(), cross_.data());
  std::vector<float> projection(static_cast<std::size_t>(features_) * outputs_);
  for (int row = 0; row < features_; ++row) {
    for (int column = 0; column < outputs_; ++column) {
      projection[static_cast<std::size_t>(row) * outputs_ + column] =
          cross_[static_cast<std::size_t>(column) * features_ + row];
    }
  }
  return projection;
}

std::vector<float> NormalEquations::solve(const std::vector<float>& ridges,
                                          const std::vector<int>& outputs) const {
  std::vector<int> kept;
  for (int i = 0; i < features_; ++i) {
    if (std::isfinite(ridges[i])) kept.push_back(i);
  }
  const std::size_t count = kept.size();
  std::vector<float> gram(count * count);
  for (std::size_t i = 0; i < count; ++i) {
    const float* row = gram_.data() + static_cast<std::size_t>(kept[i]) * features_;
    for (std::size_t j = i; j < count; ++j) gram[i * count + j] = row[kept[j]];
    gram[i * count + i] += ridges[kept[i]];
  }
  const std::size_t sides = outputs.size();
  std::vector<float> right(sides * count);
  for (std::size_t side = 0; side < sides; ++side) {
    const float* row = cross_.data() + static_cast<std::size_t>(outputs[side]) * features_;
    for (std::size_t i = 0; i < count; ++i) right[side * count + i] = row[kept[i]];
  }
  solveByCholesky(static_cast<int>(count), static_cast<int>(sides), gram.data(), right.data());
  std::vector<float> projection(features_ * sides);
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t side = 0; side < sides; ++side) {
      projection[kept[i] * sides + side] = right[side * count + i];
    }
  }
  return projection;
}

}  // namespace alignment_training
