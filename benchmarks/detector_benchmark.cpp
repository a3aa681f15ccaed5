// Benchmarks of the detector: each network's forward pass, the dense scan, one box through the
// later networks, the suppressions, and whole photographs.
//
// The scan runs on a synthetic photograph, texture of all sizes, in which no box passes the first
// network; the sample photograph of a group stands for real ones. The counter
// blas_share is the share of the time that is spent inside the matrix products; the rest is this
// library's own.

#include <benchmark/benchmark.h>
#include <cblas.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <vector>

#include "caffe/common.hpp"
#include "caffe/net.hpp"
#include "detector/cascade_driver.h"
#include "detector/dense_stage.h"
#include "detector/detector_impl.h"
#include "detector/model_store.h"
#include "detector/stage_results.h"
#include "detector/stage_scoring.h"
#include "detector/suppression.h"
#include "ozna.h"

namespace {

using Clock = std::chrono::steady_clock;

Clock::duration time_in_products(0);

// Adds the time of its life to time_in_products.
class ProductTimer {
 public:
  ProductTimer() : start_(Clock::now()) {}
  ~ProductTimer() { time_in_products += Clock::now() - start_; }

 private:
  const Clock::time_point start_;
};

}  // namespace

// The linker sends every call of the two products here (--wrap), also those of shared libraries
// that happen to use the same ones, so the names must be visible to them.
#pragma GCC visibility push(default)
extern "C" {
void __real_cblas_sgemm(CBLAS_ORDER order, CBLAS_TRANSPOSE trans_a, CBLAS_TRANSPOSE trans_b,
                        blasint m, blasint n, blasint k, float alpha, const float* a, blasint lda,
                        const float* b, blasint ldb, float beta, float* c, blasint ldc);
void __wrap_cblas_sgemm(CBLAS_ORDER order, CBLAS_TRANSPOSE trans_a, CBLAS_TRANSPOSE trans_b,
                        blasint m, blasint n, blasint k, float alpha, const float* a, blasint lda,
                        const float* b, blasint ldb, float beta, float* c, blasint ldc) {
  const ProductTimer timer;
  __real_cblas_sgemm(order, trans_a, trans_b, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

void __real_cblas_sgemv(CBLAS_ORDER order, CBLAS_TRANSPOSE trans, blasint m, blasint n, float alpha,
                        const float* a, blasint lda, const float* x, blasint incx, float beta,
                        float* y, blasint incy);
void __wrap_cblas_sgemv(CBLAS_ORDER order, CBLAS_TRANSPOSE trans, blasint m, blasint n, float alpha,
                        const float* a, blasint lda, const float* x, blasint incx, float beta,
                        float* y, blasint incy) {
  const ProductTimer timer;
  __real_cblas_sgemv(order, trans, m, n, alpha, a, lda, x, incx, beta, y, incy);
}
}
#pragma GCC visibility pop

namespace {

using oznalib::CandidateList;
using oznalib::CascadeParameter;
using oznalib::CascadeStage;
using oznalib::DetectorImpl;

constexpr CascadeParameter kUsual = {2.0F, 640, 0.05F, 12, 1.26F, 13};
const char* const kRoot = OZNA_SOURCE_DIR "/public/";
const char* const kList = "stages.txt";

DetectorImpl& cascade() {
  static DetectorImpl* const detector = [] {
    caffe::Caffe::set_mode(caffe::Caffe::CPU);
    caffe::Caffe::set_phase(caffe::Caffe::TEST);
    auto* const loaded = new DetectorImpl;
    if (loadFromFiles(oznalib::DetectorParams(kRoot, kList), *loaded) != oznalib::StatusOk) {
      std::cerr << "No cascade in " << kRoot << "\n";
      std::exit(1);
    }
    return loaded;
  }();
  return *detector;
}

cv::Mat texturedPhotograph(int columns, int rows) {
  std::mt19937 random(7);
  cv::Mat photograph(rows, columns, CV_8UC3, cv::Scalar(0, 0, 0));
  for (int cell = 1; cell <= 256; cell *= 4) {
    cv::Mat grain((rows + cell - 1) / cell, (columns + cell - 1) / cell, CV_8UC3);
    for (int row = 0; row < grain.rows; ++row) {
      unsigned char* const pixels = grain.ptr<unsigned char>(row);
      std::generate(pixels, pixels + 3 * grain.cols,
                    [&] { return static_cast<unsigned char>(random() >> 24); });
    }
    cv::Mat layer;
    cv::resize(grain, layer, photograph.size(), 0, 0, cv::INTER_LINEAR);
    cv::addWeighted(photograph, 0.6, layer, 0.4, 0, photograph);
  }
  return photograph;
}

const cv::Mat& photograph() {
  static const cv::Mat image = texturedPhotograph(1600, 1200);
  return image;
}

cv::Mat workingImage() { return oznalib::makeWorkingImage(photograph(), kUsual).pixels; }

// Runs a benchmark's loop and reports the share of its time inside the matrix products.
template <class Work>
void measure(benchmark::State& state, Work work) {
  work();  // Memory is allocated on first use.
  time_in_products = Clock::duration(0);
  const Clock::time_point start = Clock::now();
  for (auto _ : state) {
    work();
  }
  const Clock::duration all = Clock::now() - start;
  state.counters["blas_share"] = static_cast<double>(time_in_products.count()) /
                                 static_cast<double>(std::max<std::int64_t>(all.count(), 1));
}

// Networks.

void BM_FirstNetworkForward(benchmark::State& state) {
  caffe::Net<float>& net = *cascade().stages[0].net;
  const int width = static_cast<int>(state.range(0));
  const int height = static_cast<int>(state.range(1));
  net.AlterInputShape(width, height);
  measure(state, [&] { net.FF(); });
  state.counters["pixels"] = benchmark::Counter(static_cast<double>(width) * height,
                                                benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_FirstNetworkForward)
    ->Args({384, 384})
    ->Args({260, 195})
    ->Args({64, 48})
    ->Unit(benchmark::kMicrosecond);

void forwardNetwork(benchmark::State& state, CascadeStage& stage) {
  caffe::Blob<float>& input = *stage.net->input_blobs()[0];
  std::mt19937 random(3);
  std::generate_n(input.mutable_cpu_data(), input.count(),
                  [&] { return static_cast<float>(random() >> 24) - 128.0F; });
  measure(state, [&] { stage.net->ForwardAll(); });
  state.SetItemsProcessed(state.iterations());
}

void BM_SecondNetworkForward(benchmark::State& state) {
  forwardNetwork(state, cascade().stages[1]);
}
BENCHMARK(BM_SecondNetworkForward)->Unit(benchmark::kMicrosecond);

void BM_ThirdNetworkForward(benchmark::State& state) { forwardNetwork(state, cascade().stages[2]); }
BENCHMARK(BM_ThirdNetworkForward)->Unit(benchmark::kMicrosecond);

void BM_CalibrationNetworkForward(benchmark::State& state) {
  forwardNetwork(state, cascade().calibration);
}
BENCHMARK(BM_CalibrationNetworkForward)->Unit(benchmark::kMicrosecond);

// Stages.

void BM_DenseScan(benchmark::State& state) {
  const cv::Mat working = workingImage();
  std::size_t cells = 0;
  measure(state,
          [&] { cells = scanDenseStage(cascade().stages[0], working, kUsual).candidates.size(); });
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(cells));
  state.counters["cells"] = static_cast<double>(cells);
}
BENCHMARK(BM_DenseScan)->Unit(benchmark::kMillisecond);

CandidateList oneBox() { return {{{700, 500, 97, 97, 0.5F, 0}}, ""}; }

void BM_OneBoxSecondStage(benchmark::State& state) {
  CandidateList list = oneBox();
  measure(state, [&] { scoreCandidates(cascade().stages[1], photograph(), list); });
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_OneBoxSecondStage)->Unit(benchmark::kMicrosecond);

void BM_OneBoxThirdStage(benchmark::State& state) {
  CandidateList list = oneBox();
  measure(state, [&] { scoreCandidates(cascade().stages[2], photograph(), list); });
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_OneBoxThirdStage)->Unit(benchmark::kMicrosecond);

void BM_OneBoxCalibration(benchmark::State& state) {
  measure(state, [&] {
    CandidateList list = oneBox();
    calibrateCandidates(cascade().calibration, photograph(), list);
    benchmark::DoNotOptimize(list);
  });
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_OneBoxCalibration)->Unit(benchmark::kMicrosecond);

CandidateList scatteredBoxes(int count) {
  std::mt19937 random(5);
  CandidateList list;
  for (int i = 0; i < count; ++i) {
    const int side = 80 + 20 * static_cast<int>(random() % 4);
    list.candidates.push_back({static_cast<int>(random() % 1400), static_cast<int>(random() % 1000),
                               side, side, static_cast<float>(random() >> 8) / 16777216.0F, 0});
  }
  return list;
}

void BM_SuppressBySize(benchmark::State& state) {
  const CandidateList list = scatteredBoxes(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(oznalib::suppressBySize(list, 0.0F, 0.5F));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SuppressBySize)->Arg(50)->Arg(500)->Unit(benchmark::kMicrosecond);

void BM_SuppressContained(benchmark::State& state) {
  const CandidateList list = scatteredBoxes(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(oznalib::suppressContained(list, 0.0F, 0.25F));
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SuppressContained)->Arg(50)->Arg(500)->Unit(benchmark::kMicrosecond);

// Whole photographs.

void detectIn(benchmark::State& state, const cv::Mat& pixels) {
  oznalib::Detector detector;
  if (pixels.empty() || detector.load(oznalib::DetectorParams(kRoot, kList)) != oznalib::StatusOk) {
    state.SkipWithError("no photograph or no cascade");
    return;
  }
  const oznalib::Image image = {pixels.cols, pixels.rows, static_cast<std::int32_t>(pixels.step[0]),
                                pixels.data};
  std::size_t faces = 0;
  measure(state, [&] {
    std::vector<oznalib::Detection> detections;
    detect(image, detector, detections, kUsual);
    faces = detections.size();
  });
  state.SetItemsProcessed(state.iterations());
  state.counters["faces"] = static_cast<double>(faces);
}

void BM_DetectTexture(benchmark::State& state) { detectIn(state, photograph()); }
BENCHMARK(BM_DetectTexture)->Unit(benchmark::kMillisecond);

cv::Mat groupPhotograph() {
  const cv::Mat read = cv::imread(OZNA_SOURCE_DIR "/samples/group.jpg");
  cv::Mat rgb;
  if (!read.empty()) {
    cv::cvtColor(read, rgb, cv::COLOR_BGR2RGB);
  }
  return rgb;
}

void BM_DetectGroup(benchmark::State& state) { detectIn(state, groupPhotograph()); }
BENCHMARK(BM_DetectGroup)->Unit(benchmark::kMillisecond);

std::size_t countAbove(CandidateList list, float threshold) {
  keepAboveThreshold(list, threshold);
  return list.candidates.size();
}

// How many boxes reach each network is what the time of a photograph hangs on.
void BM_CascadeGroup(benchmark::State& state) {
  DetectorImpl& detector = cascade();
  const cv::Mat group = groupPhotograph();
  if (group.empty()) {
    state.SkipWithError("no photograph");
    return;
  }
  oznalib::StageResults trace;
  measure(state, [&] {
    trace = oznalib::StageResults(detector.stages.size());
    benchmark::DoNotOptimize(runCascade(detector, group, trace, kUsual));
  });
  state.counters["cells"] = static_cast<double>(trace[0][0].candidates.size());
  state.counters["into_second"] =
      static_cast<double>(countAbove(trace[0][0], detector.stages[0].threshold));
  state.counters["into_third"] =
      static_cast<double>(countAbove(trace[1][0], detector.stages[1].threshold));
}
BENCHMARK(BM_CascadeGroup)->Unit(benchmark::kMillisecond);

void BM_LoadFromFiles(benchmark::State& state) {
  for (auto _ : state) {
    oznalib::Detector detector;
    benchmark::DoNotOptimize(detector.load(oznalib::DetectorParams(kRoot, kList)));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LoadFromFiles)->Unit(benchmark::kMillisecond);

}  // namespace
