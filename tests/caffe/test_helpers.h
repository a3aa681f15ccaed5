/// What the tests of the network runtime share: seeded values, layers and nets from text, numeric
/// gradients, captured log lines.

#ifndef OZNA_TESTS_CAFFE_TEST_HELPERS_H_
#define OZNA_TESTS_CAFFE_TEST_HELPERS_H_

#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "caffe/blob.hpp"
#include "caffe/common.hpp"
#include "caffe/layer.hpp"
#include "caffe/net.hpp"

// Whether a sanitizer watches the memory: then allocation is not the C library's.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define OZNA_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define OZNA_SANITIZED 1
#endif
#endif
#if !defined(OZNA_SANITIZED)
#define OZNA_SANITIZED 0
#endif

namespace caffe_test {

using caffe::Blob;
using caffe::Layer;
using caffe::LayerParameter;
using caffe::Net;
using caffe::NetParameter;

// Values.

/// count floats, uniform over low to high, the same for the same seed on every machine.
inline std::vector<float> SeededValues(int count, unsigned seed, float low = -1, float high = 1) {
  std::mt19937 engine(seed);
  std::vector<float> values(count);
  for (float& value : values) {
    value = low + (high - low) * static_cast<float>(engine() / 4294967296.0);
  }
  return values;
}

inline std::vector<float> DataOf(const Blob<float>& blob) {
  return std::vector<float>(blob.cpu_data(), blob.cpu_data() + blob.count());
}

inline std::vector<float> DiffOf(const Blob<float>& blob) {
  return std::vector<float>(blob.cpu_diff(), blob.cpu_diff() + blob.count());
}

inline void SetData(Blob<float>* blob, const std::vector<float>& values) {
  ASSERT_EQ(blob->count(), static_cast<int>(values.size()));
  std::copy(values.begin(), values.end(), blob->mutable_cpu_data());
}

inline void SetDiff(Blob<float>* blob, const std::vector<float>& values) {
  ASSERT_EQ(blob->count(), static_cast<int>(values.size()));
  std::copy(values.begin(), values.end(), blob->mutable_cpu_diff());
}

inline void FillSeeded(Blob<float>* blob, unsigned seed, float low = -1, float high = 1) {
  SetData(blob, SeededValues(blob->count(), seed, low, high));
}

inline void FillConstant(Blob<float>* blob, float value) {
  std::fill_n(blob->mutable_cpu_data(), blob->count(), value);
}

/// (num, channels, height, width).
inline std::vector<int> ShapeOf(const Blob<float>& blob) {
  return {blob.num(), blob.channels(), blob.height(), blob.width()};
}

/// Compares element by element, within tolerance * max(1, |expected|).
inline void ExpectAllNear(const std::vector<double>& expected, const std::vector<float>& actual,
                          double tolerance) {
  ASSERT_EQ(expected.size(), actual.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(expected[i], actual[i], tolerance * std::max(1.0, std::fabs(expected[i])))
        << "at element " << i;
  }
}

// Layers and nets from text.

inline LayerParameter ParseLayer(const std::string& text) {
  LayerParameter param;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &param)) << text;
  return param;
}

inline NetParameter ParseNet(const std::string& text) {
  NetParameter param;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &param)) << text;
  return param;
}

/// The layer that the text of a LayerParameter defines, through the factory. SetUp is the caller's.
inline std::unique_ptr<Layer<float>> MakeLayer(const std::string& text) {
  return std::unique_ptr<Layer<float>>(caffe::GetLayer(ParseLayer(text)));
}

inline std::unique_ptr<Net<float>> MakeNet(const std::string& text) {
  return std::make_unique<Net<float>>(caffe::FromText(), text);
}

/// A layer with bottoms and tops of its own, set up.
///
///   LayerBench bench("type: POOLING pooling_param { kernel_size: 2 stride: 2 }", {{1, 1, 4, 4}});
///   FillSeeded(bench.bottom(0), 1);
///   bench.Forward();
///   ExpectAllNear(expected, DataOf(*bench.top(0)), 1e-6);
class LayerBench {
 public:
  /// bottom_shapes: (num, channels, height, width) of each bottom; all values start at 0.
  LayerBench(const std::string& layer_text, const std::vector<std::vector<int>>& bottom_shapes,
             int top_count = 1, bool in_place = false)
      : layer_(MakeLayer(layer_text)) {
    for (const std::vector<int>& shape : bottom_shapes) {
      owned_.push_back(std::make_unique<Blob<float>>(shape[0], shape[1], shape[2], shape[3]));
      bottoms_.push_back(owned_.back().get());
    }
    for (int i = 0; i < top_count; ++i) {
      if (in_place) {
        tops_.push_back(bottoms_[i]);
        continue;
      }
      owned_.push_back(std::make_unique<Blob<float>>());
      tops_.push_back(owned_.back().get());
    }
    layer_->SetUp(bottoms_, &tops_);
  }

  float Forward() { return layer_->Forward(bottoms_, &tops_); }
  void Backward(bool propagate_down = true) { layer_->Backward(tops_, propagate_down, &bottoms_); }
  /// Writes a smaller shape over the bottom's, in place, and lets the layer follow.
  void AlterBottom(int index, int num, int channels, int height, int width) {
    bottoms_[index]->OverwriteShape(num, channels, height, width);
    layer_->AlterInputShape(width, height, bottoms_, &tops_);
  }

  Layer<float>& layer() { return *layer_; }
  template <typename Class>
  Class& layer_as() {
    return dynamic_cast<Class&>(*layer_);
  }
  Blob<float>* bottom(int index) { return bottoms_[index]; }
  Blob<float>* top(int index) { return tops_[index]; }
  std::vector<Blob<float>*>& bottoms() { return bottoms_; }
  std::vector<Blob<float>*>& tops() { return tops_; }

 private:
  std::unique_ptr<Layer<float>> layer_;
  std::vector<std::unique_ptr<Blob<float>>> owned_;
  std::vector<Blob<float>*> bottoms_;
  std::vector<Blob<float>*> tops_;
};

// Numeric gradients.

/// A scalar function of several arrays: the bottoms of a layer in order, then its parameter blobs
/// in order.
using Objective = std::function<double(const std::vector<std::vector<double>>& inputs)>;

/// The same for all tops: one array of values a top.
using Reference =
    std::function<std::vector<std::vector<double>>(const std::vector<std::vector<double>>& inputs)>;

/// Central differences of objective with respect to each element of inputs[index].
inline std::vector<double> NumericGradient(const Objective& objective,
                                           std::vector<std::vector<double>> inputs,
                                           std::size_t index, double step = 1e-4) {
  std::vector<double> gradient(inputs[index].size());
  for (std::size_t i = 0; i < gradient.size(); ++i) {
    const double value = inputs[index][i];
    inputs[index][i] = value + step;
    const double above = objective(inputs);
    inputs[index][i] = value - step;
    const double below = objective(inputs);
    inputs[index][i] = value;
    gradient[i] = (above - below) / (2 * step);
  }
  return gradient;
}

/// The present values of the bottoms and of the layer's parameter blobs, as doubles.
inline std::vector<std::vector<double>> InputsOf(Layer<float>& layer,
                                                 const std::vector<Blob<float>*>& bottoms) {
  std::vector<std::vector<double>> inputs;
  for (const Blob<float>* bottom : bottoms) {
    const std::vector<float> values = DataOf(*bottom);
    inputs.emplace_back(values.begin(), values.end());
  }
  for (const auto& blob : layer.blobs()) {
    const std::vector<float> values = DataOf(*blob);
    inputs.emplace_back(values.begin(), values.end());
  }
  return inputs;
}

/// Runs Backward and compares the gradients of the bottoms listed in bottom_indices, and of all
/// parameter blobs, with the numeric gradients of objective. The caller has run Forward and, where
/// the layer reads them, set the gradients of the tops. Values are those from before Forward, which
/// matters for a layer that works in place: pass them as inputs.
inline void ExpectBackwardMatches(Layer<float>& layer, std::vector<Blob<float>*>& bottoms,
                                  const std::vector<Blob<float>*>& tops,
                                  const std::vector<std::vector<double>>& inputs,
                                  const Objective& objective,
                                  const std::vector<int>& bottom_indices, double step = 1e-4,
                                  double tolerance = 1e-3) {
  layer.Backward(tops, /*propagate_down=*/true, &bottoms);
  for (const int index : bottom_indices) {
    SCOPED_TRACE("gradient of bottom " + std::to_string(index));
    ExpectAllNear(NumericGradient(objective, inputs, index, step), DiffOf(*bottoms[index]),
                  tolerance);
  }
  for (std::size_t i = 0; i < layer.blobs().size(); ++i) {
    SCOPED_TRACE("gradient of parameter blob " + std::to_string(i));
    ExpectAllNear(NumericGradient(objective, inputs, bottoms.size() + i, step),
                  DiffOf(*layer.blobs()[i]), tolerance);
  }
}

/// Checks Forward and Backward of a layer against a reference forward pass in doubles: runs
/// Forward, compares all tops, gives the tops seeded gradients g, and compares the layer's
/// gradients with the numeric ones of sum(g * reference(inputs)).
inline void ExpectLayerMatchesReference(LayerBench& bench, const Reference& reference,
                                        double forward_tolerance = 1e-5,
                                        double gradient_tolerance = 1e-3, double step = 1e-4,
                                        unsigned seed = 77) {
  const std::vector<std::vector<double>> inputs = InputsOf(bench.layer(), bench.bottoms());
  bench.Forward();
  const std::vector<std::vector<double>> expected = reference(inputs);
  ASSERT_EQ(expected.size(), bench.tops().size());
  std::vector<std::vector<float>> top_gradients;
  std::vector<int> bottom_indices;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE("top " + std::to_string(i));
    ExpectAllNear(expected[i], DataOf(*bench.top(i)), forward_tolerance);
    top_gradients.push_back(SeededValues(bench.top(i)->count(), seed + i));
    SetDiff(bench.top(i), top_gradients.back());
  }
  for (std::size_t i = 0; i < bench.bottoms().size(); ++i) {
    bottom_indices.push_back(static_cast<int>(i));
  }
  const Objective objective = [&](const std::vector<std::vector<double>>& changed) {
    const std::vector<std::vector<double>> tops = reference(changed);
    double sum = 0;
    for (std::size_t t = 0; t < tops.size(); ++t) {
      for (std::size_t k = 0; k < tops[t].size(); ++k) {
        sum += top_gradients[t][k] * tops[t][k];
      }
    }
    return sum;
  };
  ExpectBackwardMatches(bench.layer(), bench.bottoms(), bench.tops(), inputs, objective,
                        bottom_indices, step, gradient_tolerance);
}

// The singleton and the log.

/// Sets mode and phase and brings the former ones back at the end of the scope.
class ScopedRuntimeState {
 public:
  explicit ScopedRuntimeState(caffe::Caffe::Phase phase,
                              caffe::Caffe::Brew mode = caffe::Caffe::CPU)
      : phase_(caffe::Caffe::phase()), mode_(caffe::Caffe::mode()) {
    caffe::Caffe::set_phase(phase);
    caffe::Caffe::set_mode(mode);
  }
  ~ScopedRuntimeState() {
    caffe::Caffe::set_phase(phase_);
    caffe::Caffe::set_mode(mode_);
  }

 private:
  caffe::Caffe::Phase phase_;
  caffe::Caffe::Brew mode_;
};

/// What action writes to the standard error stream, log lines of glog included.
inline std::string CapturedStderr(const std::function<void()>& action) {
  testing::internal::CaptureStderr();
  action();
  std::string log = testing::internal::GetCapturedStderr();
  // The logging library says this once per process, whichever message comes first.
  static const std::string kNotice =
      "WARNING: Logging before InitGoogleLogging() is written to STDERR\n";
  const std::size_t notice = log.find(kNotice);
  if (notice != std::string::npos) log.erase(notice, kNotice.size());
  return log;
}

/// Number of places where needle stands in text, for counting log lines.
inline int CountOf(const std::string& needle, const std::string& text) {
  int count = 0;
  for (std::size_t at = text.find(needle); at != std::string::npos;
       at = text.find(needle, at + needle.size())) {
    ++count;
  }
  return count;
}

}  // namespace caffe_test

#endif  // OZNA_TESTS_CAFFE_TEST_HELPERS_H_
