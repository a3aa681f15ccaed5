// Tests that a forward pass allocates nothing, by counting the calls of malloc and its kin.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <string>
#include <vector>

#include "caffe/common.hpp"
#include "tests/caffe/test_helpers.h"

// The sanitizers bring a malloc of their own, and only glibc has the one underneath.
#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define OZNA_COUNTS_MALLOC 1
#else
#define OZNA_COUNTS_MALLOC 0
#endif

namespace {

struct Allocations {
  int count = 0;
  std::size_t largest = 0;
};

// What this thread allocates is counted while the pointer is set.
thread_local Allocations* counted = nullptr;

#if OZNA_COUNTS_MALLOC
void Count(std::size_t size) {
  if (counted == nullptr) return;
  ++counted->count;
  counted->largest = std::max(counted->largest, size);
}
#endif

}  // namespace

#if OZNA_COUNTS_MALLOC
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
  Count(size);
  return __libc_malloc(size);
}

// The compiler turns a block that is filled with zeros at once into this one.
__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) {
  Count(count * size);
  return __libc_calloc(count, size);
}

__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
  Count(size);
  return __libc_realloc(block, size);
}

// Several threads of OpenBLAS hand out their work in allocated memory, which is not ours to count.
void openblas_set_num_threads(int threads) __attribute__((weak));
}
#endif

namespace caffe_test {
namespace {

Allocations AllocationsOfForward(const std::string& definition,
                                 const std::vector<std::vector<int>>& bottoms, int top_count = 1) {
  LayerBench bench(definition, bottoms, top_count);
  for (Blob<float>* bottom : bench.bottoms()) FillSeeded(bottom, 1);
  bench.Forward();  // Touches all blobs for the first time.
  Allocations allocations;
  counted = &allocations;
  bench.Forward();
  counted = nullptr;
  return allocations;
}

class LayerAllocation : public testing::Test {
 protected:
  void SetUp() override {
#if OZNA_COUNTS_MALLOC
    if (openblas_set_num_threads != nullptr) openblas_set_num_threads(1);
#else
    GTEST_SKIP() << "malloc cannot be counted in this build";
#endif
  }
};

TEST_F(LayerAllocation, CountsEveryKindOfAllocation) {
  void* volatile blocks[4];  // Volatile, so that no pair of allocation and release is left out.
  Allocations allocations;
  counted = &allocations;
  blocks[0] = std::malloc(10);
  blocks[1] = std::calloc(10, 100);
  blocks[2] = std::realloc(nullptr, 30);
  blocks[3] = ::operator new(40);
  counted = nullptr;
  for (int i = 0; i < 3; ++i) std::free(blocks[i]);
  ::operator delete(blocks[3]);
  EXPECT_EQ(allocations.count, 4);
  EXPECT_EQ(allocations.largest, 1000U);
}

TEST_F(LayerAllocation, ForwardAllocatesNothing) {
  const caffe::Caffe::Phase phases[] = {caffe::Caffe::TRAIN, caffe::Caffe::TEST};
  for (caffe::Caffe::Phase phase : phases) {
    const ScopedRuntimeState state(phase);
    for (const char* definition :
         {"type: CONVOLUTION convolution_param { num_output: 4 kernel_size: 3 pad: 1 }",
          "type: CONVOLUTION convolution_param { num_output: 4 kernel_size: 1 }",
          "type: IM2COL convolution_param { kernel_size: 3 }",
          "type: POOLING pooling_param { pool: MAX kernel_size: 3 stride: 2 }",
          "type: POOLING pooling_param { pool: AVE kernel_size: 3 stride: 2 pad: 1 }",
          "type: INNER_PRODUCT inner_product_param { num_output: 5 }", "type: RELU",
          "type: SIGMOID", "type: TANH", "type: BNLL", "type: POWER power_param { power: 3 }",
          "type: DROPOUT", "type: SOFTMAX", "type: LRN lrn_param { local_size: 9 }",
          "type: FLATTEN"}) {
      EXPECT_EQ(AllocationsOfForward(definition, {{2, 3, 12, 11}}).count, 0) << definition;
    }
  }
  EXPECT_EQ(AllocationsOfForward("type: SPLIT", {{2, 3, 12, 11}}, 3).count, 0);
  EXPECT_EQ(AllocationsOfForward("type: CONCAT", {{2, 3, 5, 5}, {2, 4, 5, 5}}).count, 0);
  EXPECT_EQ(AllocationsOfForward("type: ELTWISE_PRODUCT", {{2, 3, 5, 5}, {2, 3, 5, 5}}).count, 0);
  EXPECT_EQ(
      AllocationsOfForward("type: LRN lrn_param { norm_region: WITHIN_CHANNEL }", {{2, 3, 5, 5}})
          .count,
      0);
}

}  // namespace
}  // namespace caffe_test
