// Benchmarks of alignment: its kernels, one stage, and the placement of 68 landmarks as a whole.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <opencv2/core.hpp>
#include <random>
#include <string>
#include <vector>

#include "alignment/align5_points.h"
#include "alignment/align68_points.h"
#include "alignment/descriptor_pyramid.h"
#include "alignment/regression.h"
#include "alignment/sdm_model.h"
#include "imaging/resize_antialias.h"

namespace {

using oznalib::SDMModel;
using SDMCore::DescriptorPyramid;

constexpr int kLandmarks = 68;
constexpr int kCoordinates = 2 * kLandmarks;
constexpr int kFeatures = DescriptorPyramid::kDescriptorSize * kLandmarks;
constexpr int kStarts = 9;
// The windows of the upper levels are the larger ones.
const std::vector<std::int32_t> kStageLevels = {2, 2, 1, 1, 0};
const std::vector<std::int32_t> kUpperStageLevels = {4, 3, 2, 1, 1};  // Larger than face68.sdm has.

cv::Mat texturedImage(int columns, int rows, int channels) {
  std::mt19937 random(1);
  cv::Mat image(rows, columns, CV_8UC(channels));
  for (int y = 0; y < rows; ++y) {
    for (int i = 0; i < columns * channels; ++i) {
      const double wave = 110 + 70 * std::sin(i * 0.13 / channels) * std::cos(y * 0.11);
      image.ptr<std::uint8_t>(y)[i] = static_cast<std::uint8_t>(wave + random() % 50);
    }
  }
  return image;
}

// The grey, padded image of a face at the usual scale: 100 pixels of face in a window of 167, and
// the border.
cv::Mat paddedFace() {
  cv::Mat padded;
  oznalib::padImage(texturedImage(167, 167, 1), {50, 50}, padded);
  return padded;
}

DescriptorPyramid builtPyramid() {
  const cv::Mat face = paddedFace();
  DescriptorPyramid pyramid(static_cast<std::uint64_t>(face.cols),
                            static_cast<std::uint64_t>(face.rows), 3);
  pyramid.setImage(face.data, static_cast<std::uint64_t>(face.cols),
                   static_cast<std::uint64_t>(face.rows));
  pyramid.buildLevels();
  return pyramid;
}

void fillRandom(mp::matrix& matrix, float scale, std::mt19937& random) {
  std::uniform_real_distribution<float> uniform(-scale, scale);
  std::generate_n(matrix.data, std::int64_t{matrix.rows} * matrix.cols,
                  [&] { return uniform(random); });
}

// Landmarks on a grid over the face box, and maps whose moves are some pixels.
SDMModel randomModel(const std::vector<std::int32_t>& levels = kStageLevels) {
  std::mt19937 random(2);
  SDMModel model;
  model.stageLevels = levels;
  for (int i = 0; i < kLandmarks; ++i) {
    model.meanShape.push_back(0.1F + 0.8F * static_cast<float>(i % 9) / 8.0F);
    model.meanShape.push_back(0.1F + 0.8F * static_cast<float>(i / 9) / 7.0F);
  }
  model.stageMaps.resize(levels.size());
  for (mp::pca_map& map : model.stageMaps) {
    map.mean = mp::matrix(1, kFeatures);
    map.mean.fill(0.25F);
    map.projection = mp::matrix(kFeatures, kCoordinates);
    fillRandom(map.projection, 0.05F, random);
  }
  return model;
}

template <class T>
void put(std::ostream& out, const T& value) {
  out.write(reinterpret_cast<const char*>(&value), sizeof(value));
}

// The slot is filled from files only.
bool loadIntoSlot(const SDMModel& model) {
  const std::filesystem::path directory = std::filesystem::temp_directory_path();
  const std::string name = "ozna_alignment_benchmark.sdm";
  {
    std::ofstream out(directory / name, std::ios::binary);
    put(out, std::int32_t{0});
    put(out, std::int32_t{0});
    put(out, static_cast<std::int32_t>(model.meanShape.size()));
    for (const float value : model.meanShape) put(out, value);
    put(out, std::int32_t{0});
    put(out, static_cast<std::int32_t>(model.stageMaps.size()));
    for (const mp::pca_map& map : model.stageMaps) map.save(out);
    put(out, static_cast<std::int32_t>(model.stageLevels.size()));
    for (const std::int32_t value : model.stageLevels) put(out, value);
    for (const std::int32_t value : {0, 1, 3, 100}) put(out, value);
  }
  const bool loaded = oznalib::loadModelSlot(directory.string(), name) == oznalib::StatusOk;
  std::filesystem::remove(directory / name);
  return loaded;
}

void Resize(benchmark::State& state) {
  const int side = static_cast<int>(state.range(0));
  const cv::Mat source = texturedImage(side, side, 3);
  for (auto _ : state) {
    benchmark::DoNotOptimize(oznalib::resize_antialias(source, {250, 250}));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Resize)->Arg(100)->Arg(250)->Arg(400)->Arg(1000)->Unit(benchmark::kMicrosecond);

// As alignment builds it: the planes up to the highest level that a stage asks for.
void Pyramid(benchmark::State& state) {
  const cv::Mat face = paddedFace();
  for (auto _ : state) {
    DescriptorPyramid pyramid(static_cast<std::uint64_t>(face.cols),
                              static_cast<std::uint64_t>(face.rows), 3);
    pyramid.setImage(face.data, static_cast<std::uint64_t>(face.cols),
                     static_cast<std::uint64_t>(face.rows));
    pyramid.buildLevels(static_cast<std::uint64_t>(state.range(0)));
    benchmark::DoNotOptimize(pyramid.planes[0][0].data);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Pyramid)->Arg(2)->Arg(5)->Unit(benchmark::kMicrosecond);

void Gradient(benchmark::State& state) {
  DescriptorPyramid pyramid = builtPyramid();
  for (auto _ : state) {
    pyramid.gradients[0][0] = SDMCore::Plane();
    pyramid.prepareGradient(0);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Gradient)->Unit(benchmark::kMicrosecond);

void Descriptor(benchmark::State& state) {
  DescriptorPyramid pyramid = builtPyramid();
  const float level = static_cast<float>(state.range(0));
  std::uint8_t out[DescriptorPyramid::kDescriptorSize];
  float norm = 0;
  float shift = 0;
  for (auto _ : state) {
    pyramid.computeDescriptor(120.3F + shift, 140.8F - shift, level, &norm, out);
    shift = shift > 40 ? 0 : shift + 0.37F;
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(Descriptor)->DenseRange(0, 4);

// All landmarks of a shape in one call, as a stage takes them; an item is a descriptor.
void ShapeDescriptors(benchmark::State& state) {
  DescriptorPyramid pyramid = builtPyramid();
  const float level = static_cast<float>(state.range(0));
  const std::vector<float> shape =
      oznalib::boxShape(randomModel().meanShape, cv::Rect(94, 106, 100, 108));
  std::vector<float> norms(kLandmarks);
  std::vector<std::uint8_t> out(kFeatures);
  for (auto _ : state) {
    pyramid.computeDescriptors(shape.data(), kLandmarks, level, norms.data(), out.data());
    benchmark::DoNotOptimize(out.data());
  }
  state.SetItemsProcessed(state.iterations() * kLandmarks);
}
BENCHMARK(ShapeDescriptors)->DenseRange(0, 4)->Unit(benchmark::kMicrosecond);

// Nine shapes through one stage, the pyramid included.
void OneStage(benchmark::State& state) {
  SDMModel model = randomModel();
  model.stageMaps.resize(1);
  model.stageLevels = {static_cast<std::int32_t>(state.range(0))};
  const cv::Mat face = texturedImage(167, 167, 1);
  const auto starts = oznalib::startShapes(model.meanShape, cv::Rect(28, 40, 100, 108));
  for (auto _ : state) {
    benchmark::DoNotOptimize(oznalib::regressShapes(model, face, starts, {}));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(OneStage)->Arg(0)->Arg(2)->Arg(4)->Unit(benchmark::kMillisecond);

// One product for nine shapes, and nine products for one shape each. The maps take turns, as stages
// do.
void StageProduct(benchmark::State& state) {
  const SDMModel model = randomModel();
  const int rows = static_cast<int>(state.range(0));
  std::vector<float> features(static_cast<std::size_t>(kStarts) * kFeatures, 0.3F);
  std::vector<float> moves(static_cast<std::size_t>(kStarts) * kCoordinates);
  std::size_t stage = 0;
  for (auto _ : state) {
    for (int row = 0; row < kStarts; row += rows) {
      model.stageMaps[stage].project_rows(features.data() + row * kFeatures, kFeatures, rows,
                                          moves.data() + row * kCoordinates, kCoordinates);
    }
    stage = (stage + 1) % model.stageMaps.size();
    benchmark::DoNotOptimize(moves.data());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(StageProduct)->Arg(1)->Arg(kStarts)->Unit(benchmark::kMillisecond);

// All products of an alignment, slice by slice as it takes them; features are overwritten.
void multiplyStages(const SDMModel& model, float* features, float* moves) {
  constexpr int kSlice = mp::pca_map::kSliceInputs;
  for (const mp::pca_map& map : model.stageMaps) {
    for (int first = 0; first < kFeatures; first += kSlice) {
      map.add_slice(features, kSlice, kStarts, first, kSlice, moves, kCoordinates);
    }
  }
}

using Place = oznalib::Status (*)(const oznalib::Image&, const oznalib::Rectangle<float>&,
                                  std::vector<float>&);

// side: of the rectangle. upper: whether the stages are on the upper levels. The counter
// product_share is the part of the time that the stages' matrix products take, measured alone, in
// the same run, without the histograms beside which their weights come in.
void Align(benchmark::State& state, Place place) {
  const SDMModel model = randomModel(state.range(1) != 0 ? kUpperStageLevels : kStageLevels);
  if (!loadIntoSlot(model)) {
    state.SkipWithError("cannot write the model file");
    return;
  }
  const cv::Mat photograph = texturedImage(1000, 800, 3);
  const oznalib::Image image = {photograph.cols, photograph.rows, 0, photograph.data};
  const float side = static_cast<float>(state.range(0));
  const oznalib::Rectangle<float> rect = {400, 300, 400 + side, 300 + side};
  std::vector<float> points;
  std::vector<float> features(static_cast<std::size_t>(kStarts) * mp::pca_map::kSliceInputs);
  std::vector<float> moves(static_cast<std::size_t>(kStarts) * kCoordinates);
  using Clock = std::chrono::steady_clock;
  Clock::duration total{};
  Clock::duration product{};
  for (auto _ : state) {
    std::fill(features.begin(), features.end(), 0.3F);
    const auto start = Clock::now();
    place(image, rect, points);
    const auto placed = Clock::now();
    multiplyStages(*oznalib::globalSDMModel(), features.data(), moves.data());
    const auto multiplied = Clock::now();
    state.SetIterationTime(std::chrono::duration<double>(placed - start).count());
    total += placed - start;
    product += multiplied - placed;
    benchmark::DoNotOptimize(points.data());
  }
  oznalib::unloadModelSlot();
  state.SetItemsProcessed(state.iterations());
  state.counters["product_share"] =
      static_cast<double>(product.count()) / static_cast<double>(total.count());
}
BENCHMARK_CAPTURE(Align, 68, &oznalib::placeLandmarks68)
    ->ArgNames({"side", "upper"})
    ->ArgsProduct({{125, 200}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Align, 5, &oznalib::placeLandmarks5)
    ->ArgNames({"side", "upper"})
    ->Args({125, 1})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

}  // namespace
