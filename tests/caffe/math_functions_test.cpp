// Tests of the random fills and of the functions over arrays.

#include "caffe/util/math_functions.hpp"

#include <cblas.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <random>
#include <vector>

#include "caffe/common.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe {
namespace {

TEST(CaffeAddScalar, AddsForEveryRemainderOfEight) {
  for (int n = 0; n < 20; ++n) {
    std::vector<float> y(n + 1);
    std::iota(y.begin(), y.end(), 0.0F);
    caffe_add_scalar(n, 2.5F, y.data());
    for (int i = 0; i < n; ++i) {
      EXPECT_EQ(i + 2.5F, y[i]);
    }
    EXPECT_EQ(n, y[n]);
  }
}

TEST(CaffeCpuSign, GivesTheSignOrZero) {
  const float denormal = std::numeric_limits<float>::denorm_min();
  const std::vector<float> x = {3, -2, 0, -0.0F, INFINITY, -INFINITY, NAN, denormal, -denormal};
  std::vector<float> y(9, 5.0F);
  caffe_cpu_sign(9, x.data(), y.data());
  EXPECT_EQ((std::vector<float>{1, -1, 0, 0, 1, -1, 0, 1, -1}), y);
}

TEST(CaffeCpuSignDeathTest, RefusesNoElementsAndNullPointers) {
  float x = 1;
  float y = 1;
  EXPECT_DEATH(caffe_cpu_sign(0, &x, &y), "Check failed: n > 0 ");
  EXPECT_DEATH(caffe_cpu_sign(1, nullptr, &y), "Check failed: x ");
  EXPECT_DEATH(caffe_cpu_sign(1, &x, nullptr), "Check failed: y ");
}

TEST(Isamax, IsZeroForNoElements) {
  const float x[] = {1, 2};
  EXPECT_EQ(0U, cblas_isamax(0, x, 1));
}

TEST(Sgemm, DoesNotReadTheResultWithBetaZero) {
  const float a[] = {1, 2, 3, 4};
  const float b[] = {1, 0, 0, 1};
  float c[] = {NAN, INFINITY, -INFINITY, NAN};
  cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, 2, 2, 2, 1, a, 2, b, 2, 0, c, 2);
  EXPECT_EQ((std::vector<float>{1, 2, 3, 4}), std::vector<float>(c, c + 4));
}

TEST(CaffeRngUniform, StaysWithinItsBoundsAndFillsThem) {
  Caffe::set_random_seed(1);
  std::vector<float> r(20000);
  caffe_rng_uniform(20000, -2, 3, r.data());
  double sum = 0;
  for (const float value : r) {
    ASSERT_GE(value, -2.0F);
    ASSERT_LE(value, 3.0F);
    sum += value;
  }
  // The mean has a standard deviation of 5 / sqrt(12 * 20000) = 0.0102.
  EXPECT_NEAR(0.5, sum / 20000, 0.05);
  EXPECT_NEAR(-2, *std::min_element(r.begin(), r.end()), 0.01);
  EXPECT_NEAR(3, *std::max_element(r.begin(), r.end()), 0.01);
}

TEST(CaffeRngUniform, DrawsOneNumberAnElementInOrder) {
  // A value is the 32 bits over 2^32, stretched over the interval up to the float above b.
  Caffe::set_random_seed(2);
  std::mt19937 independent(2);
  std::vector<float> r(100);
  caffe_rng_uniform(100, 1, 5, r.data());
  const double end = std::nextafter(5.0F, 6.0F);
  for (int i = 0; i < 100; ++i) {
    EXPECT_NEAR(1 + independent() / 4294967296.0 * (end - 1), r[i], 2e-6) << i;
  }
  EXPECT_EQ(independent(), caffe_rng_rand());
}

TEST(CaffeRngUniform, DrawsFromOneFloatWhenTheBoundsAreEqual) {
  Caffe::set_random_seed(3);
  std::vector<float> r(64);
  caffe_rng_uniform(64, 1.5F, 1.5F, r.data());
  EXPECT_EQ(std::vector<float>(64, 1.5F), r);
}

TEST(CaffeRngUniform, ReachesTheUpperBound) {
  // Between 1 and the second float above it lie three values; the last one must come up too.
  Caffe::set_random_seed(4);
  const float b = std::nextafter(std::nextafter(1.0F, 2.0F), 2.0F);
  std::vector<float> r(400);
  caffe_rng_uniform(400, 1.0F, b, r.data());
  EXPECT_GT(std::count(r.begin(), r.end(), b), 0);
  EXPECT_LE(*std::max_element(r.begin(), r.end()), b);
}

TEST(CaffeRngUniform, TakesTheLargestFloatAsBound) {
  Caffe::set_random_seed(5);
  std::vector<float> r(16);
  caffe_rng_uniform(16, 0.0F, std::numeric_limits<float>::max(), r.data());
  EXPECT_GT(*std::max_element(r.begin(), r.end()), std::numeric_limits<float>::max() / 4);
}

TEST(CaffeRngUniformDeathTest, RefusesBadArguments) {
  float r;
  EXPECT_DEATH(caffe_rng_uniform(-1, 0, 1, &r), "Check failed: n >= 0 ");
  EXPECT_DEATH(caffe_rng_uniform(1, 0, 1, nullptr), "Check failed: r ");
  EXPECT_DEATH(caffe_rng_uniform(1, 2, 1, &r), "Check failed: a <= b ");
  EXPECT_DEATH(caffe_rng_uniform(1, 0, INFINITY, &r), "No uniform values over 0 to inf");
}

TEST(CaffeRngGaussian, HasItsMeanAndDeviation) {
  Caffe::set_random_seed(6);
  std::vector<float> r(40000);
  caffe_rng_gaussian(40000, 3, 2, r.data());
  double sum = 0;
  double squares = 0;
  int within = 0;
  for (const float value : r) {
    sum += value;
    squares += (value - 3.0) * (value - 3.0);
    within += std::fabs(value - 3.0) < 2.0;
  }
  EXPECT_NEAR(3, sum / 40000, 0.05);
  EXPECT_NEAR(2, std::sqrt(squares / 40000), 0.05);
  EXPECT_NEAR(0.6827, within / 40000.0, 0.015);
}

TEST(CaffeRngGaussian, RepeatsWithItsSeed) {
  std::vector<float> first(50);
  std::vector<float> second(50);
  Caffe::set_random_seed(7);
  caffe_rng_gaussian(50, 0, 1, first.data());
  Caffe::set_random_seed(7);
  caffe_rng_gaussian(50, 0, 1, second.data());
  EXPECT_EQ(first, second);
  caffe_rng_gaussian(50, 0, 1, second.data());
  EXPECT_NE(first, second);
}

TEST(CaffeRngGaussianDeathTest, RefusesBadArguments) {
  float r;
  EXPECT_DEATH(caffe_rng_gaussian(-1, 0, 1, &r), "Check failed: n >= 0 ");
  EXPECT_DEATH(caffe_rng_gaussian(1, 0, 1, nullptr), "Check failed: r ");
  EXPECT_DEATH(caffe_rng_gaussian(1, 0, 0, &r), "Check failed: sigma > 0 ");
}

template <typename Dtype>
class CaffeRngBernoulli : public testing::Test {};
using Probabilities = testing::Types<float, double>;
TYPED_TEST_SUITE(CaffeRngBernoulli, Probabilities);

TYPED_TEST(CaffeRngBernoulli, ComparesEachDrawWithTheProbability) {
  const TypeParam p = static_cast<TypeParam>(0.3);
  Caffe::set_random_seed(8);
  std::mt19937 independent(8);
  std::vector<int> r(1000, 9);
  caffe_rng_bernoulli<TypeParam>(1000, p, r.data());
  for (int i = 0; i < 1000; ++i) {
    ASSERT_EQ(static_cast<double>(p) * 4294967295.0 >= independent() ? 1 : 0, r[i]) << i;
  }
}

TYPED_TEST(CaffeRngBernoulli, DrawsNothingAtProbabilityZero) {
  Caffe::set_random_seed(9);
  std::vector<int> r(10, 9);
  caffe_rng_bernoulli<TypeParam>(10, 0, r.data());
  EXPECT_EQ(std::vector<int>(10, 0), r);
  EXPECT_EQ(std::mt19937(9)(), caffe_rng_rand());
}

TYPED_TEST(CaffeRngBernoulli, IsAlwaysOneAtProbabilityOne) {
  std::vector<int> r(5000, 9);
  caffe_rng_bernoulli<TypeParam>(5000, 1, r.data());
  EXPECT_EQ(std::vector<int>(5000, 1), r);
}

TYPED_TEST(CaffeRngBernoulli, RefusesBadArguments) {
  int r;
  EXPECT_DEATH(caffe_rng_bernoulli<TypeParam>(-1, 0.5, &r), "Check failed: n >= 0 ");
  EXPECT_DEATH(caffe_rng_bernoulli<TypeParam>(1, 0.5, nullptr), "Check failed: r ");
  EXPECT_DEATH(caffe_rng_bernoulli<TypeParam>(1, -0.5, &r), "Check failed: p >= 0 ");
  EXPECT_DEATH(caffe_rng_bernoulli<TypeParam>(1, 1.5, &r), "Check failed: p <= 1 ");
}

}  // namespace
}  // namespace caffe
