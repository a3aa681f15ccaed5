// The runtime's own vector functions and the random fills.

#include "caffe/util/math_functions.hpp"

#include <algorithm>
#include <boost/math/special_functions/next.hpp>
#include <boost/random/normal_distribution.hpp>
#include <boost/random/uniform_real_distribution.hpp>
#include <boost/random/variate_generator.hpp>
#include <cmath>
#include <limits>

#include "caffe/common.hpp"
#include "caffe/util/rng.hpp"
#include "caffe/util/vector_map.hpp"

namespace caffe {

void caffe_add_scalar(int n, float alpha, float* y) {
  Map(n, y, y, [alpha](float value) { return value + alpha; });
}

void caffe_cpu_axpby(int n, float alpha, const float* x, float beta, float* y) {
  const int stride = 1;
  saxpby(&n, &alpha, x, &stride, &beta, y, &stride);
}

void caffe_cpu_sign(int n, const float* x, float* y) {
  CHECK_GT(n, 0);
  CHECK(x);
  CHECK(y);
  Map(n, x, y, [](float value) {
    return static_cast<float>(static_cast<int>(value > 0) - static_cast<int>(value < 0));
  });
}

unsigned int caffe_rng_rand() { return (*caffe_rng())(); }

void caffe_rng_uniform(int n, float a, float b, float* r) {
  CHECK_GE(n, 0);
  CHECK(r);
  CHECK_LE(a, b);
  CHECK(std::isfinite(a) && std::isfinite(b)) << "No uniform values over " << a << " to " << b;
  // The distribution leaves out its upper end, so the end is one float above b.
  const float end = boost::math::nextafter(b, std::numeric_limits<float>::max());
  boost::random::uniform_real_distribution<float> distribution(a, end);
  boost::variate_generator<rng_t*, boost::random::uniform_real_distribution<float>> draw(
      caffe_rng(), distribution);
  for (int i = 0; i < n; ++i) {
    r[i] = draw();
  }
}

void caffe_rng_gaussian(int n, float mu, float sigma, float* r) {
  CHECK_GE(n, 0);
  CHECK(r);
  CHECK_GT(sigma, 0);
  boost::normal_distribution<float> distribution(mu, sigma);
  boost::variate_generator<rng_t*, boost::normal_distribution<float>> draw(caffe_rng(),
                                                                           distribution);
  for (int i = 0; i < n; ++i) {
    r[i] = draw();
  }
}

template <typename Dtype>
void caffe_rng_bernoulli(int n, Dtype p, int* r) {
  CHECK_GE(n, 0);
  CHECK(r);
  CHECK_GE(p, 0);
  CHECK_LE(p, 1);
  if (p == 0) {
    std::fill_n(r, n, 0);
    return;
  }
  rng_t& engine = *caffe_rng();
  for (int i = 0; i < n; ++i) {
    r[i] = p * 4294967295.0 >= engine() ? 1 : 0;
  }
}

template void caffe_rng_bernoulli<float>(int n, float p, int* r);
template void caffe_rng_bernoulli<double>(int n, double p, int* r);

}  // namespace caffe
