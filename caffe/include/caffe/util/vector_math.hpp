/// The vector operations that no CBLAS library offers.

#ifndef CAFFE_UTIL_VECTOR_MATH_HPP_
#define CAFFE_UTIL_VECTOR_MATH_HPP_

// Single precision vector operations. a, b and y hold n floats each; y may be a or b, but must not
// overlap them in any other way. A length of 0 does nothing. The same input gives the same bits at
// every position and on every processor.

void vsAdd(int n, const float* a, const float* b, float* y);  ///< y = a + b
void vsSub(int n, const float* a, const float* b, float* y);  ///< y = a - b
void vsMul(int n, const float* a, const float* b, float* y);  ///< y = a * b
void vsDiv(int n, const float* a, const float* b, float* y);  ///< y = a / b
void vsSqr(int n, const float* a, float* y);                  ///< y = a * a

/// y = exp(a), within 2 units in the last place.
void vsExp(int n, const float* a, float* y);
/// y = a raised to b, within 4 units in the last place.
void vsPowx(int n, const float* a, float b, float* y);

/// y = alpha * x + beta * y, with the calling form of the BLAS routines: everything by reference.
void saxpby(const int* n, const float* alpha, const float* x, const int* incx, const float* beta,
            float* y, const int* incy);

#endif  // CAFFE_UTIL_VECTOR_MATH_HPP_
