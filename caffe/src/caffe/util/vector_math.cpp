// Vector math in plain loops that the compiler vectorises.
//
// Every loop body is free of branches and of calls, so that one instruction set gives the same bits
// as another; this file is compiled without the errno of sqrt, which would be a call.

#include "caffe/util/vector_math.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "caffe/util/vector_map.hpp"
#include "caffe/util/wide_loops.hpp"

namespace {

using caffe::Map;

inline std::int32_t BitsOf(float value) {
  std::int32_t bits;
  std::memcpy(&bits, &value, sizeof(bits));
  return bits;
}

// 2 to the power of an exponent between -126 and 127.
inline float PowerOfTwo(std::int32_t exponent) {
  const std::uint32_t bits = (static_cast<std::uint32_t>(exponent) + 127U) << 23;
  float value;
  std::memcpy(&value, &bits, sizeof(value));
  return value;
}

// exp within 1 unit in the last place where the result is normal: exp(x) = 2^k * exp(r) with
// k = round(x / ln 2) and |r| <= ln 2 / 2, exp(r) by its series in Horner form.
inline float Exp(float x) {
  // Beyond these bounds the result is 0 or infinity anyway; NaN passes both comparisons.
  x = 89.0F < x ? 89.0F : x;
  x = -104.0F > x ? -104.0F : x;
  // Adding 1.5 * 2^23 leaves the rounded integer in the low bits of the sum.
  const float kRound = 12582912.0F;
  const float shifted = x * 1.44269504088896341F + kRound;
  const std::int32_t k = BitsOf(shifted) - BitsOf(kRound);
  const float k_float = shifted - kRound;
  // ln 2 in two parts; the first has so few bits that its product with k is exact.
  const float r = (x - k_float * 0.693359375F) - k_float * -2.12194440e-4F;
  float tail = 1.0F / 5040;
  tail = tail * r + 1.0F / 720;
  tail = tail * r + 1.0F / 120;
  tail = tail * r + 1.0F / 24;
  tail = tail * r + 1.0F / 6;
  tail = tail * r + 0.5F;
  const float exp_r = 1.0F + (r + r * r * tail);
  // Two factors, since 2^k alone is no normal float at either end of the range.
  const std::int32_t half = k >> 1;
  return exp_r * PowerOfTwo(half) * PowerOfTwo(k - half);
}

// Whether all values are positive, normal and finite.
bool AllPositiveNormal(int n, const float* a) {
  int outside = 0;
  caffe::RunWide([=, &outside]() OZNA_WIDE_LOOP {
    int found = 0;
    for (int i = 0; i < n; ++i) {
      found |= static_cast<int>(!(a[i] >= std::numeric_limits<float>::min()));
      found |= static_cast<int>(!(a[i] <= std::numeric_limits<float>::max()));
    }
    outside = found;
  });
  return outside == 0;
}

// y = a to the power of b by powf. The exponent is hidden from the compiler, which would turn a
// known 0.5 into sqrt and so give other results for -0 and minus infinity.
void PowEach(int n, const float* a, float b, float* y) {
  const volatile float hidden = b;
  const float exponent = hidden;
  Map(n, a, y, [exponent](float x) { return std::pow(x, exponent); });
}

// y = a to the power of b by a formula that holds for positive normal values; a block that has any
// other value goes through powf.
template <typename Function>
void PowByFormula(int n, const float* a, float b, float* y, Function formula) {
  const int kBlock = 256;
  for (int begin = 0; begin < n; begin += kBlock) {
    const int size = std::min(kBlock, n - begin);
    if (AllPositiveNormal(size, a + begin)) {
      Map(size, a + begin, y + begin, formula);
    } else {
      PowEach(size, a + begin, b, y + begin);
    }
  }
}

}  // namespace

void vsAdd(int n, const float* a, const float* b, float* y) {
  Map(n, a, b, y, [](float left, float right) { return left + right; });
}

void vsSub(int n, const float* a, const float* b, float* y) {
  Map(n, a, b, y, [](float left, float right) { return left - right; });
}

void vsMul(int n, const float* a, const float* b, float* y) {
  Map(n, a, b, y, [](float left, float right) { return left * right; });
}

void vsDiv(int n, const float* a, const float* b, float* y) {
  Map(n, a, b, y, [](float left, float right) { return left / right; });
}

void vsSqr(int n, const float* a, float* y) {
  Map(n, a, y, [](float x) { return x * x; });
}

void vsExp(int n, const float* a, float* y) { Map(n, a, y, Exp); }

void vsPowx(int n, const float* a, float b, float* y) {
  if (b == 1.0F) {
    Map(n, a, y, [](float x) { return x; });
  } else if (b == 2.0F) {
    vsSqr(n, a, y);
  } else if (b == 0.5F) {
    PowByFormula(n, a, b, y, [](float x) { return std::sqrt(x); });
  } else if (b == -0.5F) {
    PowByFormula(n, a, b, y, [](float x) { return 1.0F / std::sqrt(x); });
  } else if (b == -0.75F) {
    // The exponent of local response normalisation as it is nearly always trained.
    PowByFormula(n, a, b, y, [](float x) {
      const float root = std::sqrt(x);
      return 1.0F / (root * std::sqrt(root));
    });
  } else {
    PowEach(n, a, b, y);
  }
}

void saxpby(const int* n, const float* alpha, const float* x, const int* incx, const float* beta,
            float* y, const int* incy) {
  const float alpha_value = *alpha;
  const float beta_value = *beta;
  if (*incx == 1 && *incy == 1) {
    Map(*n, x, y, y, [alpha_value, beta_value](float x_value, float y_value) {
      return alpha_value * x_value + beta_value * y_value;
    });
    return;
  }
  // As everywhere in BLAS, a negative stride walks its array from the end.
  std::ptrdiff_t x_at = *incx < 0 ? std::ptrdiff_t{1 - *n} * *incx : 0;
  std::ptrdiff_t y_at = *incy < 0 ? std::ptrdiff_t{1 - *n} * *incy : 0;
  for (int i = 0; i < *n; ++i, x_at += *incx, y_at += *incy) {
    y[y_at] = alpha_value * x[x_at] + beta_value * y[y_at];
  }
}
