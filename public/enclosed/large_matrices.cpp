// What the image library would hand to LAPACK: decompositions and products of matrices with a
// hundred and more rows. Nothing of ours has such matrices. With these definitions, LAPACK and its
// mathematics library are not linked at all; by their answer, the image library does the work
// itself.

#include <cstddef>

namespace {

constexpr int kNotImplemented = 1;  // CV_HAL_ERROR_NOT_IMPLEMENTED.

}  // namespace

using std::size_t;

#define OZNA_NOT_IMPLEMENTED(name, ...) \
  int name(__VA_ARGS__);                \
  int name(__VA_ARGS__) { return kNotImplemented; }

// Of both precisions.
#define OZNA_DECOMPOSITIONS(T, bits)                                                               \
  OZNA_NOT_IMPLEMENTED(lapack_LU##bits##f, T*, size_t, int, T*, size_t, int, int*)                 \
  OZNA_NOT_IMPLEMENTED(lapack_Cholesky##bits##f, T*, size_t, int, T*, size_t, int, bool*)          \
  OZNA_NOT_IMPLEMENTED(lapack_SVD##bits##f, T*, size_t, T*, T*, size_t, T*, size_t, int, int, int) \
  OZNA_NOT_IMPLEMENTED(lapack_QR##bits##f, T*, size_t, int, int, int, T*, size_t, T*, int*)        \
  OZNA_NOT_IMPLEMENTED(lapack_gemm##bits##f, const T*, size_t, const T*, size_t, T, const T*,      \
                       size_t, T, T*, size_t, int, int, int, int)                                  \
  OZNA_NOT_IMPLEMENTED(lapack_gemm##bits##fc, const T*, size_t, const T*, size_t, T, const T*,     \
                       size_t, T, T*, size_t, int, int, int, int)

OZNA_DECOMPOSITIONS(float, 32)
OZNA_DECOMPOSITIONS(double, 64)
