// Starting shapes, descriptors and outcomes, through the library's own regression code.

#include "training/alignment/regression_rows.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "alignment/descriptor_pyramid.h"
#include "alignment/regression.h"
#include "training/common/parallel_for.h"

namespace alignment_training {
namespace {

std::vector<int> chooseStarts(int starts, std::uint64_t seed, std::uint64_t sample) {
  std::vector<int> order(kStarts);
  std::iota(order.begin(), order.end(), 0);
  if (starts >= kStarts) return order;
  std::mt19937_64 random = generatorFor(seed ^ 0x5741525453ULL, sample);
  std::shuffle(order.begin(), order.end(), random);
  order.resize(starts);
  return order;
}

void appendMoved(const Shape& shape, float move, std::vector<float>& list) {
  for (const float value : shape) list.push_back(value + move);
}

/// Width of the border that alignment puts around this sample's picture, and the picture with it.
int padSample(const AlignmentSample& sample, const Shape& mean_shape, cv::Mat& padded) {
  return oznalib::padImage(sample.grey, oznalib::boxShape(mean_shape, sample.box), padded);
}

}  // namespace

Shape meanUnitShape(const std::vector<AlignmentSample>& samples, float manual_weight) {
  std::array<double, kCoordinates> sum{};
  double weights = 0;
  for (const AlignmentSample& sample : samples) {
    const double weight = sample.manual ? manual_weight : 1.0;
    for (int i = 0; i < kCoordinates; i += 2) {
      sum[i] += weight * (sample.truth[i] - sample.box.x) / sample.box.width;
      sum[i + 1] += weight * (sample.truth[i + 1] - sample.box.y) / sample.box.height;
    }
    weights += weight;
  }
  Shape mean(kCoordinates);
  for (int i = 0; i < kCoordinates; ++i) mean[i] = static_cast<float>(sum[i] / weights);
  return mean;
}

RegressionRows makeRows(const std::vector<AlignmentSample>& samples, const Shape& mean_shape,
                        int starts, std::uint64_t seed) {
  RegressionRows rows;
  for (std::size_t index = 0; index < samples.size(); ++index) {
    cv::Mat padded;
    const auto border = static_cast<float>(padSample(samples[index], mean_shape, padded));
    const std::vector<Shape> all = oznalib::startShapes(mean_shape, samples[index].box);
    rows.first_row.push_back(static_cast<int>(rows.count()));
    appendMoved(samples[index].truth, border, rows.truths);
    for (const int start : chooseStarts(starts, seed, index)) {
      rows.sample.push_back(static_cast<int>(index));
      appendMoved(all[start], border, rows.shapes);
    }
  }
  rows.first_row.push_back(static_cast<int>(rows.count()));
  return rows;
}

void describeRows(const std::vector<AlignmentSample>& samples, const Shape& mean_shape, int level,
                  int levels_per_octave, int threads, RegressionRows& rows) {
  rows.features.resize(rows.count() * kFeatures);
  training::parallelFor(static_cast<int>(samples.size()), threads, [&](int index) {
    cv::Mat padded;
    padSample(samples[index], mean_shape, padded);
    SDMCore::DescriptorPyramid pyramid(padded.cols, padded.rows, levels_per_octave);
    pyramid.setImage(padded.data, padded.step, padded.rows);
    pyramid.buildLevels(level);
    // A flat patch leaves the descriptor of the landmark before it, as it does in alignment.
    std::array<std::uint8_t, SDMCore::DescriptorPyramid::kDescriptorSize> descriptor{};
    for (int row = rows.first_row[index]; row < rows.first_row[index + 1]; ++row) {
      const float* shape = rows.shape(row);
      std::uint8_t* out = rows.feature(row);
      for (int i = 0; i < kLandmarks; ++i) {
        float norm = 0;
        pyramid.computeDescriptor(shape[2 * i], shape[2 * i + 1], static_cast<float>(level), &norm,
                                  descriptor.data());
        out = std::copy(descriptor.begin(), descriptor.end(), out);
      }
    }
  });
}

float shapeError(const AlignmentSample& sample, const float* shape, const float* truth) {
  Shape found(kCoordinates);
  Shape wanted(kCoordinates);
  for (int i = 0; i < kCoordinates; ++i) {
    const float units = i % 2 == 0 ? sample.units_x : sample.units_y;
    found[i] = shape[i] / units;
    wanted[i] = truth[i] / units;
  }
  return normalisedError(found, wanted);
}

Shape medianShape(const RegressionRows& rows, int sample) {
  Shape median(kCoordinates);
  std::vector<float> values;
  for (int i = 0; i < kCoordinates; ++i) {
    values.clear();
    for (int row = rows.first_row[sample]; row < rows.first_row[sample + 1]; ++row) {
      values.push_back(rows.shape(row)[i]);
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    median[i] = *middle;
  }
  return median;
}

}  // namespace alignment_training
