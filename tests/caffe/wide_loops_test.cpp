// Tests that the two versions of the loops of our own give the same bits.

#include "caffe/util/wide_loops.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "caffe/util/math_functions.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using Values = std::vector<float>;

// Restores the choice of the process.
class ScopedWideLoops {
 public:
  explicit ScopedWideLoops(bool wide) : former_(caffe::SetWideLoops(wide)) {}
  ~ScopedWideLoops() { caffe::SetWideLoops(former_); }
  ScopedWideLoops(const ScopedWideLoops&) = delete;
  ScopedWideLoops& operator=(const ScopedWideLoops&) = delete;

 private:
  const bool former_;
};

class WideLoops : public testing::Test {
 protected:
  void SetUp() override {
    const ScopedWideLoops scope(true);
    if (!caffe::UsesWideLoops()) GTEST_SKIP() << "The processor has one version only.";
  }
};

// Magnitudes of all sizes, most of them near 1, with a share of what is special about floats.
Values MixedValues(int count, unsigned seed, bool special) {
  const float specials[] = {0.0F,
                            -0.0F,
                            std::numeric_limits<float>::infinity(),
                            -std::numeric_limits<float>::infinity(),
                            std::numeric_limits<float>::quiet_NaN(),
                            FLT_MIN / 8,
                            -FLT_MAX};
  std::mt19937 engine(seed);
  std::normal_distribution<float> normal;
  Values values(count);
  for (float& value : values) {
    value = normal(engine) * (engine() % 5 == 0 ? 60.0F : 1.0F);
    if (special && engine() % 9 == 0) value = specials[engine() % 7];
  }
  return values;
}

void ExpectNoBitDiffers(const Values& narrow, const Values& wide) {
  ASSERT_EQ(narrow.size(), wide.size());
  for (std::size_t i = 0; i < narrow.size(); ++i) {
    ASSERT_EQ(std::memcmp(&narrow[i], &wide[i], sizeof(float)), 0)
        << "at element " << i << ": " << narrow[i] << " and " << wide[i];
  }
}

// Runs an operation with each version, on lengths around the width of the instructions.
void ExpectVersionsAgree(const std::function<void(int, const float*, const float*, float*)>& run) {
  for (const bool special : {false, true}) {
    for (const int n : {1, 3, 4, 7, 8, 9, 15, 16, 31, 33, 255, 1027}) {
      const Values a = MixedValues(n, 1, special), b = MixedValues(n, 2, special);
      Values results[2] = {Values(n), Values(n)};
      for (const bool wide : {false, true}) {
        const ScopedWideLoops scope(wide);
        run(n, a.data(), b.data(), results[wide].data());
      }
      SCOPED_TRACE("length " + std::to_string(n));
      ExpectNoBitDiffers(results[0], results[1]);
    }
  }
}

TEST_F(WideLoops, TheChoiceIsThatOfTheLastCall) {
  const ScopedWideLoops scope(false);
  EXPECT_FALSE(caffe::UsesWideLoops());
  EXPECT_FALSE(caffe::SetWideLoops(true));
  EXPECT_TRUE(caffe::UsesWideLoops());
}

TEST_F(WideLoops, VectorOperationsGiveTheSameBits) {
  ExpectVersionsAgree([](int n, const float* a, const float* b, float* y) { vsAdd(n, a, b, y); });
  ExpectVersionsAgree([](int n, const float* a, const float* b, float* y) { vsSub(n, a, b, y); });
  ExpectVersionsAgree([](int n, const float* a, const float* b, float* y) { vsMul(n, a, b, y); });
  ExpectVersionsAgree([](int n, const float* a, const float* b, float* y) { vsDiv(n, a, b, y); });
  ExpectVersionsAgree([](int n, const float* a, const float*, float* y) { vsSqr(n, a, y); });
  ExpectVersionsAgree([](int n, const float* a, const float*, float* y) { vsExp(n, a, y); });
  ExpectVersionsAgree([](int n, const float* a, const float*, float* y) {
    std::copy_n(a, n, y);
    caffe::caffe_add_scalar(n, 0.3F, y);
  });
  ExpectVersionsAgree([](int n, const float* a, const float* b, float* y) {
    std::copy_n(a, n, y);
    caffe::caffe_cpu_axpby(n, 0.3F, b, 0.7F, y);
  });
}

TEST_F(WideLoops, PowersGiveTheSameBits) {
  for (const float exponent : {1.0F, 2.0F, 0.5F, -0.5F, -0.75F, 1.7F}) {
    SCOPED_TRACE(exponent);
    ExpectVersionsAgree([exponent](int n, const float* a, const float*, float* y) {
      vsSqr(n, a, y);
      vsPowx(n, y, exponent, y);
    });
  }
}

TEST_F(WideLoops, LayersGiveTheSameBits) {
  for (const char* definition :
       {"type: RELU", "type: SOFTMAX", "type: LRN lrn_param { local_size: 5 alpha: 0.3 }",
        "type: LRN lrn_param { norm_region: WITHIN_CHANNEL local_size: 3 }",
        "type: POOLING pooling_param { pool: MAX kernel_size: 2 stride: 2 }",
        "type: POOLING pooling_param { pool: MAX kernel_size: 3 stride: 2 }",
        "type: POOLING pooling_param { pool: MAX kernel_size: 3 stride: 1 }",
        "type: POOLING pooling_param { pool: AVE kernel_size: 3 stride: 2 }",
        "type: POOLING pooling_param { pool: AVE kernel_size: 2 stride: 1 pad: 1 }"}) {
    for (const bool special : {false, true}) {
      SCOPED_TRACE(definition);
      LayerBench bench(definition, {{1, 6, 21, 150}});
      SetData(bench.bottom(0), MixedValues(bench.bottom(0)->count(), 3, special));
      Values results[2];
      for (const bool wide : {false, true}) {
        const ScopedWideLoops scope(wide);
        bench.Forward();
        results[wide] = DataOf(*bench.top(0));
      }
      ExpectNoBitDiffers(results[0], results[1]);
    }
  }
}

}  // namespace
}  // namespace caffe_test
