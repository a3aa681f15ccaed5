// Tests of the two ways to run a network, and of what they allocate.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "caffe/net.hpp"
#include "tests/caffe/test_helpers.h"

// Counting of allocations: every malloc, calloc and realloc of the process, operator new included,
// goes through here. The sanitizers bring an allocator of their own, so there is no counting there.
#if defined(__GLIBC__) && !OZNA_SANITIZED
#define OZNA_COUNT_ALLOCATIONS 1
#else
#define OZNA_COUNT_ALLOCATIONS 0
#endif

#if OZNA_COUNT_ALLOCATIONS
static std::atomic<long> allocation_count{0};

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

__attribute__((visibility("default"))) void* malloc(std::size_t size) {
  ++allocation_count;
  return __libc_malloc(size);
}
__attribute__((visibility("default"))) void* calloc(std::size_t count, std::size_t size) {
  ++allocation_count;
  return __libc_calloc(count, size);
}
__attribute__((visibility("default"))) void* realloc(void* block, std::size_t size) {
  ++allocation_count;
  return __libc_realloc(block, size);
}
__attribute__((visibility("default"))) void* aligned_alloc(std::size_t alignment,
                                                           std::size_t size) {
  ++allocation_count;
  return __libc_memalign(alignment, size);
}
__attribute__((visibility("default"))) int posix_memalign(void** block, std::size_t alignment,
                                                          std::size_t size) {
  ++allocation_count;
  *block = __libc_memalign(alignment, size);
  return *block == nullptr ? 12 : 0;
}
}
#endif

namespace caffe {
namespace {

using caffe_test::DataOf;
using caffe_test::FillConstant;
using caffe_test::FillSeeded;
using caffe_test::MakeNet;
using caffe_test::ParseNet;
using caffe_test::SetData;
using caffe_test::ShapeOf;

std::string Input(int channels, int height, int width) {
  return "input: 'x' input_dim: 1 input_dim: " + std::to_string(channels) +
         " input_dim: " + std::to_string(height) + " input_dim: " + std::to_string(width) + " ";
}

// One plane in, two planes out, each a multiple of the input plus a bias: 2x + 1 and -3x + 5. The
// two responses to an input of 100 differ: 201 and -295.
const char kPointwise[] =
    "layers { name: 'c' type: CONVOLUTION bottom: 'x' top: 'y' "
    "convolution_param { num_output: 2 kernel_size: 1 } "
    "blobs { num: 2 channels: 1 height: 1 width: 1 data: 2 data: -3 } "
    "blobs { num: 1 channels: 1 height: 1 width: 2 data: 1 data: 5 } } ";

// Runs a pointwise network with one plane of x, as the inputs of the two planes of y.
std::vector<float> RunFF(Net<float>* net, const std::vector<float>& x) {
  SetData(net->input_blobs()[0], x);
  return DataOf(*net->FF()[0]);
}

TEST(ForwardAll, RunsAllLayersOnTheInput) {
  auto net = MakeNet(Input(1, 1, 3) + kPointwise +
                     "layers { name: 'r' type: RELU bottom: 'y' top: 'y' } ");
  SetData(net->input_blobs()[0], {-1, 0, 2});
  const vector<Blob<float>*>& outputs = net->ForwardAll();
  EXPECT_EQ(&net->output_blobs(), &outputs);
  EXPECT_EQ((std::vector<float>{0, 1, 5, 8, 5, 0}), DataOf(*outputs[0]));
}

TEST(ForwardAll, RunsAgainOnANewInput) {
  auto net = MakeNet(Input(1, 1, 1) + kPointwise);
  SetData(net->input_blobs()[0], {4});
  EXPECT_EQ((std::vector<float>{9, -7}), DataOf(*net->ForwardAll()[0]));
  SetData(net->input_blobs()[0], {0});
  EXPECT_EQ((std::vector<float>{1, 5}), DataOf(*net->ForwardAll()[0]));
}

TEST(ForwardAll, IsAllowedAfterAlterInputShape) {
  auto net = MakeNet(Input(1, 2, 2) + kPointwise);
  net->AlterInputShape(1, 2);
  SetData(net->input_blobs()[0], {1, 2});
  EXPECT_EQ((std::vector<float>{3, 5, 2, -1}), DataOf(*net->ForwardAll()[0]));
}

TEST(FirstRun, StoresTheNegatedResponseToAnInputOf100) {
  auto net = MakeNet(Input(1, 1, 2) + kPointwise);
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{-201, -201, 295, 295}), net->first_run_offsets());
  EXPECT_FALSE(net->first_run_pending());
}

TEST(FirstRun, LeavesTheInputAt100) {
  auto net = MakeNet(Input(1, 1, 2) + kPointwise);
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{100, 100}), DataOf(*net->input_blobs()[0]));
}

TEST(FirstRun, FillsOnlyTheFirstInput) {
  auto net =
      MakeNet(Input(1, 1, 1) +
              "input: 'other' input_dim: 1 input_dim: 1 input_dim: 1 input_dim: 1 " + kPointwise);
  FillConstant(net->input_blobs()[1], 7);
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{7}), DataOf(*net->input_blobs()[1]));
}

TEST(FirstRun, KeepsTheResponseWhereTheCallerWritesTheFirstTop) {
  // The block of the first top is what is kept, so that a write to it takes another.
  auto net = MakeNet(Input(1, 1, 2) + kPointwise);
  net->FirstRun();
  FillConstant(net->blob_by_name("y").get(), 7);
  EXPECT_EQ((std::vector<float>{202, 222, -290, -320}), RunFF(net.get(), {0, 10}));
  EXPECT_EQ((std::vector<float>{-201, -201, 295, 295}), net->first_run_offsets());
}

TEST(FirstRun, KeepsTheResponseWhereTheFirstTopLiesInMemoryOfTheCaller) {
  auto net = MakeNet(Input(1, 1, 2) + kPointwise);
  std::vector<float> own(4);
  net->blob_by_name("y")->set_cpu_data(own.data());
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{201, 201, -295, -295}), own);
  std::fill(own.begin(), own.end(), 7.0F);
  EXPECT_EQ((std::vector<float>{202, 222, -290, -320}), RunFF(net.get(), {0, 10}));
  EXPECT_EQ((std::vector<float>{202, 222, -290, -320}), own);
}

TEST(FirstRun, LeavesShareAndReleaseWithTheResponseAlone) {
  auto net = MakeNet(Input(1, 1, 2) + kPointwise);
  net->FirstRun();
  net->ShareAndRelease();
  EXPECT_EQ((std::vector<float>{0, 0, 0, 0}), DataOf(*net->blob_by_name("y")));
  EXPECT_EQ((std::vector<float>{202, 222, -290, -320}), RunFF(net.get(), {0, 10}));
}

TEST(FirstRun, StopsBehindTheFirstConvolution) {
  auto net = MakeNet(Input(1, 1, 1) + kPointwise +
                     "layers { name: 'p' type: POWER bottom: 'y' top: 'z' } ");
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{201, -295}), DataOf(*net->blob_by_name("y")));
  EXPECT_EQ((std::vector<float>{0, 0}), DataOf(*net->blob_by_name("z")));
}

TEST(FirstRun, RunsTheLayersAheadOfTheFirstConvolution) {
  // The power layer turns 100 into 50, to which the convolution responds with 101 and -145.
  auto net = MakeNet(Input(1, 1, 1) +
                     "layers { name: 'p' type: POWER bottom: 'x' top: 'x' "
                     "power_param { scale: 0.5 } } " +
                     kPointwise);
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{-101, 145}), net->first_run_offsets());
}

TEST(FirstRun, MeasuresAtAnAlteredSize) {
  auto net = MakeNet(Input(1, 2, 2) + kPointwise);
  EXPECT_EQ(8U, net->first_run_offsets().size());
  net->AlterInputShape(1, 2);
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{-201, -201, 295, 295}), net->first_run_offsets());
}

TEST(FirstRun, RunsAllLayersWithoutAConvolution) {
  auto net = MakeNet(Input(1, 1, 2) +
                     "layers { name: 'p' type: POWER bottom: 'x' top: 'y' "
                     "power_param { scale: 2 } } ");
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{200, 200}), DataOf(*net->blob_by_name("y")));
  EXPECT_TRUE(net->first_run_offsets().empty());
  EXPECT_DEATH(net->FF(),
               "Check failed: firstConvLayerIndex_ == 0 \\(-1 vs. 0\\) First Layer "
               "Should be Conv Layer.");
}

TEST(FirstRun, ComesAfterTheTrainedParameters) {
  auto net = MakeNet(Input(1, 1, 1) + kPointwise);
  net->CopyTrainedLayersFrom(ParseNet(
      "layers { name: 'c' blobs { num: 2 channels: 1 height: 1 width: 1 data: 4 data: 0.5 } "
      "blobs { num: 1 channels: 1 height: 1 width: 2 data: 0 data: 0 } }"));
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{-400, -50}), net->first_run_offsets());
}

TEST(FF, AddsTheResponseTo100WithTheBiasTwice) {
  // 2x + 1 becomes 2x + 1 + 201, -3x + 5 becomes -3x + 5 - 295.
  auto net = MakeNet(Input(1, 1, 2) + kPointwise);
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{202, 222, -290, -320}), RunFF(net.get(), {0, 10}));
}

TEST(FF, CorrectsAheadOfTheSecondLayer) {
  auto net = MakeNet(Input(1, 1, 2) + kPointwise +
                     "layers { name: 'r' type: RELU bottom: 'y' top: 'y' } ");
  net->FirstRun();
  EXPECT_EQ((std::vector<float>{202, 0, 0, 310}), RunFF(net.get(), {0, -200}));
}

TEST(FF, KeepsTheSameShapesAtTheSizeOfConstruction) {
  auto net = MakeNet(Input(1, 1, 2) + kPointwise);
  net->FirstRun();
  const std::vector<float> before = RunFF(net.get(), {3, 4});
  net->AlterInputShape(2, 1);
  EXPECT_EQ((std::vector<int>{1, 1, 1, 2}), ShapeOf(*net->input_blobs()[0]));
  EXPECT_EQ((std::vector<int>{1, 2, 1, 2}), ShapeOf(*net->blob_by_name("y")));
  EXPECT_EQ(before, RunFF(net.get(), {3, 4}));
}

TEST(FF, CorrectsFlatlyAtASmallerSize) {
  // Built at four places a plane, the entries are -201 four times, then 295 four times. At three
  // places a plane, the top has six values, so that the first place of the second plane still
  // meets an entry of the first: -3x + 5 + 201 in place of -3x + 5 - 295.
  auto net = MakeNet(Input(1, 1, 4) + kPointwise);
  net->FirstRun();
  net->AlterInputShape(3, 1);
  EXPECT_EQ((std::vector<float>{202, 204, 206, 206, -293, -296}), RunFF(net.get(), {0, 1, 2}));
  // At two places a plane only entries of the first plane are used.
  net->AlterInputShape(2, 1);
  EXPECT_EQ((std::vector<float>{202, 204, 206, 203}), RunFF(net.get(), {0, 1}));
  // And at the full size again, all of them.
  net->AlterInputShape(4, 1);
  EXPECT_EQ((std::vector<float>{202, 204, 206, 208, -290, -293, -296, -299}),
            RunFF(net.get(), {0, 1, 2, 3}));
}

TEST(FF, LeavesTheRestOfATopThatOutgrewTheMeasurement) {
  auto net = MakeNet(Input(1, 1, 4) + kPointwise);
  net->AlterInputShape(1, 1);
  net->FirstRun();  // Two entries: -201 and 295.
  net->AlterInputShape(4, 1);
  EXPECT_EQ((std::vector<float>{202, 1 - 295, 1, 1, 5, 5, 5, 5}), RunFF(net.get(), {0, 0, 0, 0}));
}

TEST(FF, TakesAShapeThatIsLargerOnOneSide) {
  auto net = MakeNet(Input(1, 2, 2) + kPointwise);
  net->FirstRun();
  net->AlterInputShape(4, 1);
  EXPECT_EQ((std::vector<int>{1, 2, 1, 4}), ShapeOf(*net->blob_by_name("y")));
  EXPECT_EQ((std::vector<float>{202, 204, 206, 208, -290, -293, -296, -299}),
            RunFF(net.get(), {0, 1, 2, 3}));
}

TEST(AlterInputShape, WritesTheRecordAndTheInput) {
  auto net = MakeNet(Input(3, 10, 20));
  net->AlterInputShape(7, 5);
  const Blob<unsigned char>& record = *net->input_blobs_u8()[0];
  EXPECT_EQ(5, record.height());
  EXPECT_EQ(7, record.width());
  EXPECT_EQ(3 * 5 * 7, record.count());
  EXPECT_EQ((std::vector<int>{1, 3, 5, 7}), ShapeOf(*net->input_blobs()[0]));
  EXPECT_EQ(3 * 5 * 7, net->input_blobs()[0]->count());
}

TEST(AlterInputShape, LetsLargerSizesPassUnnoticed) {
  auto net = MakeNet(Input(1, 2, 2) + kPointwise);
  EXPECT_EQ("", caffe_test::CapturedStderr([&] { net->AlterInputShape(30, 40); }));
  EXPECT_EQ((std::vector<int>{1, 1, 40, 30}), ShapeOf(*net->input_blobs()[0]));
  EXPECT_EQ((std::vector<int>{1, 2, 40, 30}), ShapeOf(*net->blob_by_name("y")));
}

TEST(AlterInputShape, LeavesOtherInputsAlone) {
  auto net =
      MakeNet(Input(1, 4, 4) + "input: 'z' input_dim: 1 input_dim: 1 input_dim: 3 input_dim: 3 ");
  net->AlterInputShape(2, 2);
  EXPECT_EQ((std::vector<int>{1, 1, 3, 3}), ShapeOf(*net->input_blobs()[1]));
}

TEST(AlterInputShape, KeepsEveryBlockWhereItIs) {
  auto net = MakeNet(Input(1, 4, 4) + kPointwise);
  net->ForwardAll();
  std::vector<const float*> before;
  for (const auto& blob : net->blobs()) {
    before.push_back(blob->cpu_data());
  }
  net->AlterInputShape(2, 3);
  for (std::size_t i = 0; i < before.size(); ++i) {
    EXPECT_EQ(before[i], net->blobs()[i]->cpu_data());
  }
}

// The same network, built at a size and altered to it, gives the same values: stale values behind
// the present count are never read. Chain: convolution 3x3, relu, pooling 2/2, convolution,
// softmax.
const char kChain[] =
    "layers { name: 'c1' type: CONVOLUTION bottom: 'x' top: 'c1' convolution_param { num_output: 4 "
    "kernel_size: 3 weight_filler { type: 'xavier' } bias_filler { value: 0.25 } } } "
    "layers { name: 'r1' type: RELU bottom: 'c1' top: 'c1' } "
    "layers { name: 'p1' type: POOLING bottom: 'c1' top: 'p1' "
    "pooling_param { kernel_size: 2 stride: 2 } } "
    "layers { name: 'c2' type: CONVOLUTION bottom: 'p1' top: 'c2' convolution_param { num_output: "
    "2 "
    "kernel_size: 2 weight_filler { type: 'xavier' } } } "
    "layers { name: 'probs' type: SOFTMAX bottom: 'c2' top: 'probs' } ";

NetParameter ParametersOf(const Net<float>& net) {
  NetParameter param;
  for (const auto& layer : net.layers()) {
    layer->ToProto(param.add_layers());
  }
  return param;
}

TEST(AlterInputShape, GivesTheResultOfANetworkBuiltAtThatSize) {
  caffe_test::ScopedRuntimeState scope(Caffe::TEST);
  Caffe::set_random_seed(20);
  auto large = MakeNet(Input(3, 24, 30) + kChain);
  FillSeeded(large->input_blobs()[0], 1);
  large->ForwardAll();
  for (const auto& size : std::vector<std::pair<int, int>>{{11, 9}, {30, 24}, {8, 17}, {12, 12}}) {
    auto fresh = MakeNet(Input(3, size.second, size.first) + kChain);
    fresh->CopyTrainedLayersFrom(ParametersOf(*large));
    large->AlterInputShape(size.first, size.second);
    ASSERT_EQ(ShapeOf(*fresh->output_blobs()[0]), ShapeOf(*large->output_blobs()[0]));
    FillSeeded(fresh->input_blobs()[0], 2);
    FillSeeded(large->input_blobs()[0], 2);
    EXPECT_EQ(DataOf(*fresh->ForwardAll()[0]), DataOf(*large->ForwardAll()[0]));
  }
}

TEST(FF, GivesThePlainResultOfACorrectedFirstBiasAtTheSizeOfConstruction) {
  // At the size of construction the correction is the same for all places of a plane, so a plain
  // network whose first bias is b + (W * 100 + b) must agree with the fast one.
  caffe_test::ScopedRuntimeState scope(Caffe::TEST);
  Caffe::set_random_seed(21);
  auto fast = MakeNet(Input(3, 12, 14) + kChain);
  auto plain = MakeNet(Input(3, 12, 14) + kChain);
  plain->CopyTrainedLayersFrom(ParametersOf(*fast));
  const std::vector<float> weights = DataOf(*fast->params()[0]);
  for (int k = 0; k < 4; ++k) {
    double response = 0;
    for (int i = 0; i < 27; ++i) {
      response += weights[k * 27 + i] * 100.0;
    }
    plain->params()[1]->mutable_cpu_data()[k] = 0.25F + static_cast<float>(response) + 0.25F;
  }
  fast->FirstRun();
  FillSeeded(fast->input_blobs()[0], 3, 0, 255);
  FillSeeded(plain->input_blobs()[0], 3, 0, 255);
  plain->ForwardAll();
  fast->FF();
  // Ahead of the softmax, which flattens whatever differs.
  const std::vector<float> expected = DataOf(*plain->blob_by_name("c2"));
  caffe_test::ExpectAllNear(std::vector<double>(expected.begin(), expected.end()),
                            DataOf(*fast->blob_by_name("c2")), 1e-4);
}

TEST(NetModesDeathTest, EndTheProcessWithStatus255WhenMixed) {
  auto plain = MakeNet(Input(1, 1, 1) + kPointwise);
  EXPECT_EXIT(plain->FF(), testing::ExitedWithCode(255), "Invoke FirstRun\\(\\) before FF \n");
  auto fast = MakeNet(Input(1, 1, 1) + kPointwise);
  fast->FirstRun();
  EXPECT_EXIT(fast->ForwardAll(), testing::ExitedWithCode(255),
              "Should not Invoke FirstRun\\(\\) before FF \n");
  EXPECT_EXIT(fast->FirstRun(), testing::ExitedWithCode(255), "Invoke FirstRun\\(\\) twice\n");
}

TEST(FFDeathTest, EndsIfTheFirstLayerIsNotTheConvolution) {
  auto net = MakeNet(Input(1, 1, 1) + "layers { name: 'r' type: RELU bottom: 'x' top: 'x' } " +
                     kPointwise);
  net->FirstRun();
  EXPECT_DEATH(net->FF(),
               "Check failed: firstConvLayerIndex_ == 0 \\(1 vs. 0\\) First Layer Should "
               "be Conv Layer.");
}

TEST(NetDeathTest, HasNothingToAlterOrMeasureWithoutAnInput) {
  auto net = MakeNet("name: 'empty'");
  EXPECT_DEATH(net->AlterInputShape(1, 1), "Network empty has no input.");
  EXPECT_DEATH(net->FirstRun(), "Network empty has no input.");
}

#if OZNA_COUNT_ALLOCATIONS
template <typename Function>
long AllocationsOf(Function function) {
  const long before = allocation_count;
  function();
  return allocation_count - before;
}

TEST(Allocation, IsCountedAtAll) {
  // Through the function itself: the pair of a new and a delete expression may be left out.
  EXPECT_EQ(1, AllocationsOf([] { ::operator delete(::operator new(100)); }));
}

TEST(Allocation, DoesNotHappenInAWarmFastNetwork) {
  caffe_test::ScopedRuntimeState scope(Caffe::TEST);
  auto net = MakeNet(Input(3, 40, 40) + kChain);
  net->FirstRun();
  net->FF();
  EXPECT_EQ(0, AllocationsOf([&] {
              for (const int size : {40, 31, 22, 15}) {
                net->AlterInputShape(size, size - 3);
                net->input_blobs()[0]->mutable_cpu_data()[0] = 1;
                net->FF();
              }
            }));
}

TEST(Allocation, DoesNotHappenInAWarmPlainNetwork) {
  caffe_test::ScopedRuntimeState scope(Caffe::TEST);
  auto net = MakeNet(Input(3, 16, 16) + kChain +
                     "layers { name: 'fc' type: INNER_PRODUCT bottom: 'probs' top: 'fc' "
                     "inner_product_param { num_output: 8 } } "
                     "layers { name: 'drop' type: DROPOUT bottom: 'fc' top: 'fc' } "
                     "layers { name: 'sig' type: SIGMOID bottom: 'fc' top: 'fc' } ");
  net->ForwardAll();
  EXPECT_EQ(0, AllocationsOf([&] {
              for (int i = 0; i < 3; ++i) {
                net->ForwardAll();
              }
            }));
}
#endif

}  // namespace
}  // namespace caffe
