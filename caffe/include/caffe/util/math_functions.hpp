/// Vector operations and random fills of the runtime.

#ifndef CAFFE_UTIL_MATH_FUNCTIONS_HPP_
#define CAFFE_UTIL_MATH_FUNCTIONS_HPP_

#include "caffe/util/vector_math.hpp"

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
