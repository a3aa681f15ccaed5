// Benchmarks of the layers, each at the shapes that the detector's networks give it.
//
// Items are the values that a layer writes; for products, the multiplications. Compare a
// convolution with its product alone and with its unfolding alone to see where its time goes.

#include <benchmark/benchmark.h>
#include <cblas.h>
#include <google/protobuf/text_format.h>

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "caffe/layer.hpp"
#include "caffe/util/im2col.hpp"

namespace {

using caffe::Blob;
using caffe::Layer;

void FillNormal(float* values, int count) {
  std::mt19937 engine(1);
  std::normal_distribution<float> normal;
  for (int i = 0; i < count; ++i) values[i] = normal(engine);
}

// A layer with one input image of random values, set up.
class LayerRun {
 public:
  LayerRun(const std::string& definition, int channels, int height, int width, bool in_place)
      : input_(1, channels, height, width) {
    caffe::LayerParameter param;
    google::protobuf::TextFormat::ParseFromString(definition, &param);
    layer_.reset(caffe::GetLayer(param));
    bottom_ = {&input_};
    top_ = {in_place ? &input_ : &output_};
    layer_->SetUp(bottom_, &top_);
    FillNormal(input_.mutable_cpu_data(), input_.count());
  }

  void Forward() { layer_->Forward(bottom_, &top_); }
  int output_count() const { return top_[0]->count(); }

 private:
  Blob<float> input_;
  Blob<float> output_;
  std::vector<Blob<float>*> bottom_;
  std::vector<Blob<float>*> top_;
  std::unique_ptr<Layer<float>> layer_;
};

void Forward(benchmark::State& state, const std::string& definition, int channels, int height,
             int width, bool in_place = false) {
  LayerRun run(definition, channels, height, width, in_place);
  run.Forward();  // Allocates.
  for (auto _ : state) {
    run.Forward();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * run.output_count());
}

struct Convolution {
  const char* name;
  int channels, size;  // Of the square input.
  int outputs, kernel, stride;

  int out_size() const { return caffe::im2col_output_size(size, kernel, /*pad=*/0, stride); }
  int out_spatial() const { return out_size() * out_size(); }
  int depth() const { return channels * kernel * kernel; }
  std::string definition() const {
    return "type: CONVOLUTION convolution_param { num_output: " + std::to_string(outputs) +
           " kernel_size: " + std::to_string(kernel) + " stride: " + std::to_string(stride) +
           " weight_filler { type: 'gaussian' std: 0.01 } }";
  }
};

const Convolution kConvolutions[] = {
    {"first/conv1", 3, 384, 16, 3, 1},      {"first/fc4-conv", 16, 191, 16, 5, 3},
    {"first/fcf-conv", 16, 63, 2, 1, 1},    {"second/x32-conv1", 3, 24, 32, 5, 1},
    {"second/x16-conv1", 3, 12, 16, 3, 1},  {"third/x64-conv1", 3, 48, 64, 5, 1},
    {"third/x64-conv2", 64, 22, 64, 5, 1},  {"compact/24-conv3", 16, 11, 32, 3, 1},
    {"compact/24-conv4", 32, 9, 48, 3, 1},  {"compact/48-conv1", 3, 48, 24, 3, 2},
    {"compact/48-conv2", 24, 23, 32, 3, 1}, {"compact/48-conv5", 64, 9, 64, 3, 1},
};

void Unfold(benchmark::State& state, const Convolution& conv) {
  std::vector<float> image(conv.channels * conv.size * conv.size);
  std::vector<float> columns(conv.depth() * conv.out_spatial());
  FillNormal(image.data(), static_cast<int>(image.size()));
  for (auto _ : state) {
    caffe::im2col_cpu(image.data(), conv.channels, conv.size, conv.size, conv.kernel, /*pad=*/0,
                      conv.stride, columns.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * columns.size());
}

// Row-major product of (m, k) and (k, n).
void Product(benchmark::State& state, int m, int n, int k) {
  std::vector<float> a(m * k), b(k * n), c(m * n);
  FillNormal(a.data(), m * k);
  FillNormal(b.data(), k * n);
  for (auto _ : state) {
    cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, m, n, k, 1.0F, a.data(), k, b.data(), n,
                1.0F, c.data(), n);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t{m} * n * k);
}

// Product of weights, (outputs, depth), and one row.
void OneRowProduct(benchmark::State& state, int outputs, int depth) {
  std::vector<float> weights(outputs * depth), row(depth), result(outputs);
  FillNormal(weights.data(), outputs * depth);
  FillNormal(row.data(), depth);
  for (auto _ : state) {
    cblas_sgemv(CblasRowMajor, CblasNoTrans, outputs, depth, 1.0F, weights.data(), depth,
                row.data(), 1, 1.0F, result.data(), 1);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * std::int64_t{outputs} * depth);
}

void RegisterConvolutions() {
  for (const Convolution& conv : kConvolutions) {
    const std::string name = conv.name;
    benchmark::RegisterBenchmark(("convolution/" + name).c_str(), [conv](benchmark::State& state) {
      Forward(state, conv.definition(), conv.channels, conv.size, conv.size);
    });
    benchmark::RegisterBenchmark(("im2col/" + name).c_str(),
                                 [conv](benchmark::State& state) { Unfold(state, conv); });
    benchmark::RegisterBenchmark(("product/" + name).c_str(), [conv](benchmark::State& state) {
      Product(state, conv.outputs, conv.out_spatial(), conv.depth());
    });
  }
}

void RegisterForward(const std::string& name, const std::string& definition, int channels,
                     int height, int width, bool in_place = false) {
  benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
    Forward(state, definition, channels, height, width, in_place);
  });
}

void RegisterPooling() {
  const std::string max = "type: POOLING pooling_param { pool: MAX kernel_size: 3 stride: 2 }";
  const std::string ave = "type: POOLING pooling_param { pool: AVE kernel_size: 3 stride: 2 }";
  RegisterForward("max_pooling/first/pool1", max, 16, 382, 382);
  RegisterForward("max_pooling/second/x32-pool1", max, 32, 20, 20);
  RegisterForward("max_pooling/second/x16-pool1", max, 16, 10, 10);
  RegisterForward("max_pooling/third/x64-pool1", max, 64, 44, 44);
  RegisterForward("max_pooling/compact/48-pool3",
                  "type: POOLING pooling_param { pool: MAX kernel_size: 2 stride: 2 }", 32, 21, 21);
  RegisterForward("max_pooling/third/x64-pool2", max, 64, 18, 18);
  RegisterForward("average_pooling/second/x16-data", ave, 3, 24, 24);
  RegisterForward("average_pooling/third/x32-data", ave, 3, 48, 48);
}

void RegisterPointwise() {
  const std::string lrn = "type: LRN lrn_param { local_size: 9 alpha: 0.001 beta: 0.75 }";
  RegisterForward("relu/first/pool1", "type: RELU", 16, 191, 191, /*in_place=*/true);
  RegisterForward("relu/third/x64-conv1", "type: RELU", 64, 44, 44, /*in_place=*/true);
  RegisterForward("lrn/third/x64-rnorm1", lrn, 64, 22, 22);
  RegisterForward("lrn/third/x64-rnorm2", lrn, 64, 18, 18);
  RegisterForward("softmax/first/probs", "type: SOFTMAX", 2, 63, 63);
  RegisterForward("softmax/calibration/probs", "type: SOFTMAX", 19, 1, 1);
}

void RegisterInnerProduct(const std::string& name, int channels, int size, int outputs) {
  RegisterForward("inner_product/" + name,
                  "type: INNER_PRODUCT inner_product_param { num_output: " +
                      std::to_string(outputs) + " weight_filler { type: 'gaussian' std: 0.01 } }",
                  channels, size, size);
  const int depth = channels * size * size;
  benchmark::RegisterBenchmark(("product/" + name).c_str(), [=](benchmark::State& state) {
    OneRowProduct(state, outputs, depth);
  });
}

}  // namespace

int main(int argc, char** argv) {
  RegisterConvolutions();
  RegisterPooling();
  RegisterPointwise();
  RegisterInnerProduct("calibration/x28-fc4", 32, 10, 64);
  RegisterInnerProduct("second/x16-fc4", 16, 5, 16);
  RegisterInnerProduct("third/x64-fc4", 64, 9, 256);
  RegisterInnerProduct("third/fcf", 336, 1, 2);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
