// The operations of the BLAS library that the runtime calls, as plain loops. They stand before the
// library's when a fuzz target is linked: the library is not compiled with the address sanitizer,
// which would miss what it reads and writes outside of a blob, while these loops are.

#include <cblas.h>

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

namespace {

// Sizes that the library refuses are a defect of their caller.
void Require(bool is_legal, const char* operation) {
  if (!is_legal) {
    std::fprintf(stderr, "plain_blas: illegal argument of %s\n", operation);
    std::abort();
  }
}

// An element of op(matrix).
float At(const float* matrix, std::size_t leading, CBLAS_TRANSPOSE trans, int row, int column) {
  return trans == CblasNoTrans ? matrix[row * leading + column] : matrix[column * leading + row];
}

}  // namespace

extern "C" {

void cblas_sgemm(CBLAS_ORDER order, CBLAS_TRANSPOSE trans_a, CBLAS_TRANSPOSE trans_b, blasint m,
                 blasint n, blasint k, float alpha, const float* a, blasint lda, const float* b,
                 blasint ldb, float beta, float* c, blasint ldc) {
  Require(order == CblasRowMajor && m >= 0 && n >= 0 && k >= 0, "sgemm");
  Require(lda >= (trans_a == CblasNoTrans ? k : m) && ldb >= (trans_b == CblasNoTrans ? n : k) &&
              ldc >= n && lda > 0 && ldb > 0 && ldc > 0,
          "sgemm");
  for (int row = 0; row < m; ++row) {
    for (int column = 0; column < n; ++column) {
      float sum = 0;
      for (int i = 0; i < k; ++i) {
        sum += At(a, lda, trans_a, row, i) * At(b, ldb, trans_b, i, column);
      }
      float& target = c[static_cast<std::size_t>(row) * ldc + column];
      target = alpha * sum + (beta == 0 ? 0 : beta * target);
    }
  }
}

void cblas_sgemv(CBLAS_ORDER order, CBLAS_TRANSPOSE trans, blasint m, blasint n, float alpha,
                 const float* a, blasint lda, const float* x, blasint incx, float beta, float* y,
                 blasint incy) {
  Require(order == CblasRowMajor && m >= 0 && n >= 0 && lda >= n && lda > 0, "sgemv");
  const int rows = trans == CblasNoTrans ? m : n;
  const int columns = trans == CblasNoTrans ? n : m;
  for (int row = 0; row < rows; ++row) {
    float sum = 0;
    for (int i = 0; i < columns; ++i) {
      sum += At(a, lda, trans, row, i) * x[static_cast<std::ptrdiff_t>(i) * incx];
    }
    float& target = y[static_cast<std::ptrdiff_t>(row) * incy];
    target = alpha * sum + (beta == 0 ? 0 : beta * target);
  }
}

float cblas_sdot(blasint n, const float* x, blasint incx, const float* y, blasint incy) {
  Require(n >= 0, "sdot");
  float sum = 0;
  for (std::ptrdiff_t i = 0; i < n; ++i) {
    sum += x[i * incx] * y[i * incy];
  }
  return sum;
}

float cblas_sasum(blasint n, const float* x, blasint incx) {
  Require(n >= 0, "sasum");
  float sum = 0;
  for (std::ptrdiff_t i = 0; i < n; ++i) {
    sum += std::fabs(x[i * incx]);
  }
  return sum;
}

void cblas_sscal(blasint n, float alpha, float* x, blasint incx) {
  Require(n >= 0, "sscal");
  for (std::ptrdiff_t i = 0; i < n; ++i) {
    x[i * incx] *= alpha;
  }
}

void cblas_saxpy(blasint n, float alpha, const float* x, blasint incx, float* y, blasint incy) {
  Require(n >= 0, "saxpy");
  for (std::ptrdiff_t i = 0; i < n; ++i) {
    y[i * incy] += alpha * x[i * incx];
  }
}

void cblas_scopy(blasint n, const float* x, blasint incx, float* y, blasint incy) {
  Require(n >= 0, "scopy");
  for (std::ptrdiff_t i = 0; i < n; ++i) {
    y[i * incy] = x[i * incx];
  }
}

}  // extern "C"
