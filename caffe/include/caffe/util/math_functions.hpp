/// The vector operations that no CBLAS library offers, and the runtime's own functions around them.

#ifndef CAFFE_UTIL_MATH_FUNCTIONS_HPP_
#define CAFFE_UTIL_MATH_FUNCTIONS_HPP_

#include <cstdint>

// Single precision vector operations. a, b and y hold n floats each; y may be a or b, but must not
// overlap them in any other way. A length of 0 does nothing. The same input gives the same bits at
// every position and on every processor.

void vsAdd(int n, const float* a, const float* b, float* y);  ///< y = a + b
void vsSub(int n, const float* a, const float* b, float* y);  ///< y = a - b
void vsMul(int n, const float* a, const float* b, float* y);  ///< y = a * b
void vsDiv(int n, const float* a, const float* b, float* y);  ///< y = a / b
void vsSqr(int n, const float* a, float* y);                  ///< y = a * a
void vsExp(int n, const float* a, float* y);  ///< y = exp(a), within 2 units in the last place
void vsPowx(int n, const float* a, float b,
            float* y);  ///< y = a raised to b, within 4 units in the last place

/// y = alpha * x + beta * y, with the calling form of the BLAS routines: everything by reference.
void saxpby(const int* n, const float* alpha, const float* x, const int* incx, const float* beta,
            float* y, const int* incy);

namespace caffe {

/// y[i] += alpha.
void caffe_add_scalar(int n, float alpha, float* y);

/// y = alpha * x + beta * y.
void caffe_cpu_axpby(int n, float alpha, const float* x, float beta, float* y);

/// y[i] is 1 where x[i] > 0, -1 where x[i] < 0, 0 elsewhere. n above 0.
void caffe_cpu_sign(int n, const float* x, float* y);

// Each draw below advances the one generator of the Caffe singleton, element by element. No locks.

/// The next 32 bits.
unsigned int caffe_rng_rand();

/// Uniform over a to b, b included. a above b, or a bound that is not finite, is fatal.
void caffe_rng_uniform(int n, float a, float b, float* r);

/// Normal with mean mu and standard deviation sigma, above 0.
void caffe_rng_gaussian(int n, float mu, float sigma, float* r);

/// 1 with probability p, else 0. p 0 draws nothing.
template <typename Dtype>
void caffe_rng_bernoulli(int n, Dtype p, int* r);

}  // namespace caffe

#endif  // CAFFE_UTIL_MATH_FUNCTIONS_HPP_
