// Tests of the vector operations.

#include "caffe/util/vector_math.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "caffe/util/math_functions.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe {
namespace {

using caffe_test::SeededValues;

const float kInfinity = std::numeric_limits<float>::infinity();
const float kNan = std::numeric_limits<float>::quiet_NaN();
const float kMinNormal = std::numeric_limits<float>::min();
const float kMax = std::numeric_limits<float>::max();
const float kDenormal = std::numeric_limits<float>::denorm_min();

// Distance in units in the last place of the float nearest to expected.
double UlpsApart(double expected, float actual) {
  int exponent;
  std::frexp(expected, &exponent);
  return std::fabs(actual - expected) / std::ldexp(1.0, std::max(exponent - 24, -149));
}

bool SameBits(float left, float right) { return std::memcmp(&left, &right, sizeof(left)) == 0; }

// Lengths around the width of the vector registers, so that bodies and remainders both run.
const int kLengths[] = {0, 1, 3, 4, 7, 8, 9, 15, 16, 17, 31, 33, 255, 256, 257, 1000};

using Binary = void (*)(int, const float*, const float*, float*);

void ExpectElementwise(Binary operation, float (*reference)(float, float)) {
  for (const int n : kLengths) {
    SCOPED_TRACE(n);
    const std::vector<float> a = SeededValues(n, 1, -3, 3);
    const std::vector<float> b = SeededValues(n, 2, 0.5F, 4);
    std::vector<float> fresh(n + 1, 77.0F);
    std::vector<float> over_a = a;
    std::vector<float> over_b = b;
    operation(n, a.data(), b.data(), fresh.data());
    operation(n, over_a.data(), b.data(), over_a.data());
    operation(n, a.data(), over_b.data(), over_b.data());
    for (int i = 0; i < n; ++i) {
      const float expected = reference(a[i], b[i]);
      ASSERT_EQ(expected, fresh[i]);
      ASSERT_EQ(expected, over_a[i]);
      ASSERT_EQ(expected, over_b[i]);
    }
    EXPECT_EQ(77.0F, fresh[n]);
  }
}

TEST(VsAdd, AddsInPlaceOrNot) {
  ExpectElementwise(vsAdd, [](float a, float b) { return a + b; });
}
TEST(VsSub, SubtractsInPlaceOrNot) {
  ExpectElementwise(vsSub, [](float a, float b) { return a - b; });
}
TEST(VsMul, MultipliesInPlaceOrNot) {
  ExpectElementwise(vsMul, [](float a, float b) { return a * b; });
}
TEST(VsDiv, DividesInPlaceOrNot) {
  ExpectElementwise(vsDiv, [](float a, float b) { return a / b; });
}

TEST(VsAdd, DoublesWhenAllThreeAreTheSame) {
  std::vector<float> x = {1, 2, 3, 4, 5, 6, 7};
  vsAdd(7, x.data(), x.data(), x.data());
  EXPECT_EQ((std::vector<float>{2, 4, 6, 8, 10, 12, 14}), x);
}

TEST(VsDiv, FollowsIeeeAtZero) {
  const float a[] = {1, -1, 0};
  const float b[] = {0, 0, 0};
  float y[3];
  vsDiv(3, a, b, y);
  EXPECT_EQ(kInfinity, y[0]);
  EXPECT_EQ(-kInfinity, y[1]);
  EXPECT_TRUE(std::isnan(y[2]));
}

TEST(VsSqr, SquaresInPlace) {
  std::vector<float> x = {-3, 0, 1.5F, 2, -1, 4, 5, 6, 7};
  vsSqr(9, x.data(), x.data());
  EXPECT_EQ((std::vector<float>{9, 0, 2.25F, 4, 1, 16, 25, 36, 49}), x);
}

TEST(VsExp, HoldsTo2UnitsInTheLastPlaceOverTheNormalRange) {
  std::vector<float> x;
  for (float value = -87.3F; value < 88.7F; value += 0.00173F) {
    x.push_back(value);
  }
  std::vector<float> y(x.size());
  vsExp(static_cast<int>(x.size()), x.data(), y.data());
  double worst = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    worst = std::max(worst, UlpsApart(std::exp(static_cast<double>(x[i])), y[i]));
  }
  EXPECT_LE(worst, 2.0);
  EXPECT_GT(worst, 0.0);
}

TEST(VsExp, UnderflowsThroughDenormalsToZero) {
  for (float value = -87.0F; value > -110.0F; value -= 0.01F) {
    float y;
    vsExp(1, &value, &y);
    EXPECT_LE(UlpsApart(std::exp(static_cast<double>(value)), y), 2.0) << value;
  }
  const float far[] = {-104.0F, -1000.0F, -kMax, -kInfinity};
  float y[4] = {1, 1, 1, 1};
  vsExp(4, far, y);
  for (const float value : y) {
    EXPECT_TRUE(SameBits(0.0F, value));
  }
}

TEST(VsExp, OverflowsToInfinityAtTheRightPlace) {
  const float last = 88.72283F;  // exp of it is the last below 2^128.
  const float x[] = {last, std::nextafter(last, 100.0F), 89.0F, 1000.0F, kMax, kInfinity};
  float y[6];
  vsExp(6, x, y);
  EXPECT_TRUE(std::isfinite(y[0]));
  EXPECT_LE(UlpsApart(std::exp(static_cast<double>(last)), y[0]), 2.0);
  for (int i = 1; i < 6; ++i) {
    EXPECT_EQ(kInfinity, y[i]) << i;
  }
}

TEST(VsExp, IsOneAtZeroAndPassesNotANumber) {
  const float x[] = {0.0F, -0.0F, kNan, kDenormal};
  float y[4];
  vsExp(4, x, y);
  EXPECT_EQ(1.0F, y[0]);
  EXPECT_EQ(1.0F, y[1]);
  EXPECT_TRUE(std::isnan(y[2]));
  EXPECT_EQ(1.0F, y[3]);
}

TEST(VsExp, GivesTheSameBitsInBodyAndRemainder) {
  const std::vector<float> x = SeededValues(67, 3, -100, 90);
  std::vector<float> together(67);
  vsExp(67, x.data(), together.data());
  std::vector<float> in_place = x;
  vsExp(67, in_place.data(), in_place.data());
  for (int i = 0; i < 67; ++i) {
    float alone;
    vsExp(1, &x[i], &alone);
    EXPECT_TRUE(SameBits(alone, together[i])) << i;
    EXPECT_TRUE(SameBits(alone, in_place[i])) << i;
  }
}

TEST(VsPowx, HoldsTo4UnitsInTheLastPlaceForEachFormula) {
  std::vector<float> x = SeededValues(3000, 4, 0.01F, 50);
  x.insert(x.end(), {kMinNormal, 1e-30F, 1.0F, 1e30F, kMax});
  for (const float exponent : {-0.75F, 0.5F, -0.5F, 0.75F, -1.5F, 3.0F, 0.1F, 1.0F, 0.0F, -1.0F}) {
    SCOPED_TRACE(exponent);
    std::vector<float> y(x.size());
    vsPowx(static_cast<int>(x.size()), x.data(), exponent, y.data());
    for (std::size_t i = 0; i < x.size(); ++i) {
      const double expected = std::pow(static_cast<double>(x[i]), static_cast<double>(exponent));
      if (std::fabs(expected) < kMax && std::fabs(expected) > kMinNormal) {
        EXPECT_LE(UlpsApart(expected, y[i]), 4.0) << x[i];
      } else {
        EXPECT_EQ(static_cast<float>(expected), y[i]) << x[i];
      }
    }
  }
}

TEST(VsPowx, TreatsSpecialValuesAsTheStandardPowerDoes) {
  const std::vector<float> x = {0.0F,      -0.0F, -1.0F, -2.5F,      kInfinity, -kInfinity,
                                kDenormal, kNan,  2.0F,  -kDenormal, -kMax};
  for (const float exponent : {-0.75F, 0.5F, -0.5F, 1.0F, 2.0F, 0.0F, 3.0F, -1.0F, 0.7F}) {
    std::vector<float> in_place = x;
    vsPowx(static_cast<int>(x.size()), in_place.data(), exponent, in_place.data());
    for (std::size_t i = 0; i < x.size(); ++i) {
      const float expected = std::pow(x[i], exponent);
      if (std::isnan(expected)) {
        EXPECT_TRUE(std::isnan(in_place[i])) << x[i] << " to " << exponent;
      } else {
        EXPECT_FLOAT_EQ(expected, in_place[i]) << x[i] << " to " << exponent;
        EXPECT_EQ(std::signbit(expected), std::signbit(in_place[i])) << x[i] << " to " << exponent;
      }
    }
  }
}

TEST(VsPowx, TakesSpecialValuesAmongManyOrdinaryOnes) {
  std::vector<float> x = SeededValues(600, 5, 1, 2);
  x[3] = 0;
  x[300] = kInfinity;
  x[599] = kNan;
  std::vector<float> y(600);
  vsPowx(600, x.data(), -0.75F, y.data());
  EXPECT_EQ(kInfinity, y[3]);
  EXPECT_EQ(0.0F, y[300]);
  EXPECT_TRUE(std::isnan(y[599]));
  for (const int i : {0, 4, 299, 301, 598}) {
    EXPECT_LE(UlpsApart(std::pow(static_cast<double>(x[i]), -0.75), y[i]), 4.0);
  }
}

TEST(VectorMath, DoesNothingAtLengthZero) {
  float y = 5;
  vsAdd(0, nullptr, nullptr, &y);
  vsExp(0, nullptr, &y);
  vsPowx(0, nullptr, -0.75F, &y);
  vsPowx(0, nullptr, 0.3F, &y);
  vsSqr(0, nullptr, &y);
  EXPECT_EQ(5.0F, y);
}

TEST(Saxpby, CombinesTwoArrays) {
  const std::vector<float> x = {1, 2, 3, 4, 5};
  std::vector<float> y = {10, 20, 30, 40, 50};
  caffe_cpu_axpby(5, 2.0F, x.data(), 0.5F, y.data());
  EXPECT_EQ((std::vector<float>{7, 14, 21, 28, 35}), y);
}

TEST(Saxpby, StepsByItsStrides) {
  const std::vector<float> x = {1, 0, 2, 0, 3};
  std::vector<float> y = {10, 20, 30};
  const int n = 3;
  const int two = 2;
  const int one = 1;
  const float alpha = 1;
  const float beta = 1;
  saxpby(&n, &alpha, x.data(), &two, &beta, y.data(), &one);
  EXPECT_EQ((std::vector<float>{11, 22, 33}), y);
}

TEST(Saxpby, WalksFromTheEndWithANegativeStride) {
  const std::vector<float> x = {1, 2, 3};
  std::vector<float> y = {10, 20, 30};
  const int n = 3;
  const int back = -1;
  const int one = 1;
  const float alpha = 1;
  const float beta = 0;
  saxpby(&n, &alpha, x.data(), &back, &beta, y.data(), &one);
  EXPECT_EQ((std::vector<float>{3, 2, 1}), y);
}

TEST(Saxpby, WorksWhenBothArraysAreOne) {
  std::vector<float> x = {1, 2, 3, 4, 5, 6};
  caffe_cpu_axpby(6, 2.0F, x.data(), 3.0F, x.data());
  EXPECT_EQ((std::vector<float>{5, 10, 15, 20, 25, 30}), x);
}

}  // namespace
}  // namespace caffe
