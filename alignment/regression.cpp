// Supervised descent: nine starting shapes, a chain of linear maps, the median of the outcomes.

#include "alignment/regression.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <opencv2/imgproc.hpp>
#include <utility>

#include "alignment/descriptor_pyramid.h"
#include "alignment/truncation.h"

namespace oznalib {
namespace {

using SDMCore::DescriptorPyramid;
using Shape = std::vector<float>;
using DescriptorBuffer = std::array<std::uint8_t, DescriptorPyramid::kDescriptorSize>;

constexpr std::size_t kFeaturesPerLandmark = DescriptorPyramid::kDescriptorSize;
constexpr std::size_t kLandmarksInSlice = mp::pca_map::kSliceInputs / kFeaturesPerLandmark;
constexpr std::size_t kMostCoordinates = 65536;
constexpr std::int32_t kMostLevels = 1024;
constexpr int kLargestSide = 4096;    // Pixels. Alignment works at about 300.
constexpr float kStartOffset = 0.1F;  // In units of the face box.

// ----------------------------------------------------------------------------
// What a stage of the model allows.

std::int32_t stageLevel(const SDMModel& model, std::size_t stage) {
  return stage < model.stageLevels.size() ? model.stageLevels[stage] : model.stageLevels.back();
}

// The level as the pyramid rounds it.
std::int64_t wholeLevel(std::int32_t level) { return truncateToInt(level + 0.5); }

bool hasLevel(const SDMModel& model, std::size_t stage) {
  const std::int64_t level = wholeLevel(stageLevel(model, stage));
  return level >= 0 && level < std::int64_t{model.levelsPerOctave} + 3;
}

// Whether a map reads nothing past the features or its own cells, and writes nothing past the
// moves. One of fewer inputs or outputs leaves the last features alone, or the last coordinates.
bool mapFits(const mp::pca_map& map, std::size_t coordinates) {
  const std::int64_t most_outputs = static_cast<std::int64_t>(coordinates);
  const std::int64_t most_inputs =
      most_outputs / 2 * static_cast<std::int64_t>(kFeaturesPerLandmark);
  return map.is_valid() && map.mean.cols <= most_inputs && map.projection.cols <= most_outputs &&
         map.projection.rows >= map.mean.cols;
}

int borderWidth(const cv::Mat& image, const Shape& shape) {
  int pad = truncateToInt(static_cast<double>(image.cols) * 0.4);
  const float columns = static_cast<float>(image.cols);
  const float rows = static_cast<float>(image.rows);
  for (std::size_t i = 0; i + 1 < shape.size(); i += 2) {
    const float x = shape[i];
    const float y = shape[i + 1];
    if (x < 0.0F || y < 0.0F) {
      pad = std::max(pad, truncateToInt(std::max(-y, -x)));
    } else if (x >= columns || y >= rows) {
      pad = std::max(pad, truncateToInt(std::max(y - rows + 1.0F, x - columns + 1.0F)));
    }
  }
  return pad;
}

// Shape += (bias + move) where there is a bias, shape += move otherwise.
void addMove(const float* move, const mp::matrix& bias, Shape& shape) {
  const bool has_bias = bias.data != nullptr && std::int64_t{bias.rows} * bias.cols ==
                                                    static_cast<std::int64_t>(shape.size());
  for (std::size_t i = 0; i < shape.size(); ++i) {
    shape[i] += has_bias ? bias.data[i] + move[i] : move[i];
  }
}

// ----------------------------------------------------------------------------
// The descent of all shapes.

// Runs shapes through the stages of a model, on one pyramid.
class Descent {
 public:
  Descent(const SDMModel& model, const cv::Mat& padded)
      : model_(model),
        pyramid_(static_cast<std::uint64_t>(padded.cols), static_cast<std::uint64_t>(padded.rows),
                 static_cast<std::uint64_t>(model.levelsPerOctave)),
        landmarks_(model.meanShape.size() / 2) {
    std::int64_t top = 0;
    for (std::size_t stage = 0; stage < model.stageMaps.size(); ++stage) {
      top = std::max(top, wholeLevel(stageLevel(model, stage)));
    }
    pyramid_.setImage(padded.ptr<std::uint8_t>(), static_cast<std::uint64_t>(padded.cols),
                      static_cast<std::uint64_t>(padded.rows));
    pyramid_.buildLevels(static_cast<std::uint64_t>(top));
  }

  // One start after the other, each through all stages. The descriptor buffer lives through all of
  // it: a flat patch repeats whatever descriptor came before, be it of the start before.
  void runStartByStart(std::vector<Shape>& shapes) {
    DescriptorBuffer buffer{};
    mp::matrix features(1, static_cast<std::int32_t>(landmarks_ * kFeaturesPerLandmark));
    for (Shape& shape : shapes) {
      for (std::size_t stage = 0; stage < model_.stageMaps.size(); ++stage) {
        describe(&shape, 1, {0, landmarks_}, stage);
        writeFeatures(0, 1, {0, landmarks_}, buffer, features.data);
        applyStage(features.data, model_.stageMaps[stage], stageBias(stage), shape);
      }
    }
  }

  // All starts through one stage before the next, and through it some landmarks at a time: the
  // windows of a landmark lie near each other, and the part of the stage's map that goes with these
  // landmarks comes into the cache while their descriptors are taken, and is used there for all
  // starts. Each start has a descriptor buffer of its own, which makes no difference as long as the
  // first patch of each start is not flat.
  //
  // Returns  false if that does not hold. The shapes are then of no use.
  bool runStageByStage(std::vector<Shape>& shapes) {
    const std::size_t coordinates = model_.meanShape.size();
    std::vector<DescriptorBuffer> buffers(shapes.size(), DescriptorBuffer{});
    mp::matrix features(static_cast<std::int32_t>(shapes.size()), mp::pca_map::kSliceInputs);
    mp::matrix moves(static_cast<std::int32_t>(shapes.size()),
                     static_cast<std::int32_t>(coordinates));
    for (std::size_t stage = 0; stage < model_.stageMaps.size(); ++stage) {
      moves.fill(0.0F);  // A map of fewer outputs moves the rest by nothing.
      if (!addStageMoves(shapes, stage, buffers, features.data, moves.data)) {
        return false;
      }
      for (std::size_t i = 0; i < shapes.size(); ++i) {
        addMove(moves.data + i * coordinates, stageBias(stage), shapes[i]);
      }
    }
    return true;
  }

 private:
  // Landmarks first to first + count - 1.
  struct LandmarkRange {
    std::size_t first;
    std::size_t count;
  };

  const mp::matrix& stageBias(std::size_t stage) const {
    return !model_.auxMatrices.empty() && stage < model_.stageBias.size() ? model_.stageBias[stage]
                                                                          : no_bias_;
  }

  float levelOf(std::size_t stage) const { return static_cast<float>(stageLevel(model_, stage)); }

  // Adds the moves of all shapes by one stage.
  //
  // features  Space for a slice of each shape's features.
  // moves     shapes.size() rows of a number per coordinate.
  // Returns   Whether no shape but the first one needed a descriptor from before the first stage.
  bool addStageMoves(const std::vector<Shape>& shapes, std::size_t stage,
                     std::vector<DescriptorBuffer>& buffers, float* features, float* moves) {
    if (stage > 0 && levelOf(stage) != levelOf(stage - 1)) {
      pyramid_.forgetWindows(levelOf(stage - 1));
    }
    for (const Shape& shape : shapes) {
      pyramid_.prepareWindows(shape.data(), landmarks_, levelOf(stage));
    }
    const mp::pca_map& map = model_.stageMaps[stage];
    for (std::size_t first = 0; first < landmarks_; first += kLandmarksInSlice) {
      const LandmarkRange range = {first, std::min(kLandmarksInSlice, landmarks_ - first)};
      const std::int32_t first_input = static_cast<std::int32_t>(first * kFeaturesPerLandmark);
      const std::int32_t inputs = static_cast<std::int32_t>(range.count * kFeaturesPerLandmark);
      describe(shapes.data(), shapes.size(), range, stage, sliceAfter(stage, range));
      for (std::size_t i = 0; i < shapes.size(); ++i) {
        const bool own = writeFeatures(i, shapes.size(), range, buffers[i],
                                       features + i * static_cast<std::size_t>(inputs));
        if (stage == 0 && first == 0 && i > 0 && !own) {
          return false;
        }
      }
      map.add_slice(features, inputs, static_cast<std::int32_t>(shapes.size()), first_input, inputs,
                    moves, static_cast<std::int32_t>(model_.meanShape.size()));
    }
    return true;
  }

  // The weights of the slice that comes after a range: the next one of the stage, or the first one
  // of the next stage.
  SDMCore::MemoryAhead sliceAfter(std::size_t stage, const LandmarkRange& range) const {
    std::size_t first = range.first + range.count;
    if (first == landmarks_) {
      first = 0;
      ++stage;
    }
    if (stage == model_.stageMaps.size()) {
      return {};
    }
    const mp::pca_map& map = model_.stageMaps[stage];
    const std::size_t inputs = static_cast<std::size_t>(map.mean.cols);
    const std::size_t outputs = static_cast<std::size_t>(map.projection.cols);
    const std::size_t begin = std::min(first * kFeaturesPerLandmark, inputs);
    const std::size_t end = std::min(begin + mp::pca_map::kSliceInputs, inputs);
    return {map.projection.data + begin * outputs, (end - begin) * outputs};
  }

  // Takes the descriptors of some landmarks of several shapes: of all shapes for the first
  // landmark, then for the next one.
  void describe(const Shape* shapes, std::size_t count, const LandmarkRange& range,
                std::size_t stage, SDMCore::MemoryAhead ahead = SDMCore::MemoryAhead()) {
    points_.clear();
    for (std::size_t i = range.first; i < range.first + range.count; ++i) {
      for (std::size_t k = 0; k < count; ++k) {
        points_.push_back(shapes[k][2 * i]);
        points_.push_back(shapes[k][2 * i + 1]);
      }
    }
    norms_.resize(count * range.count);
    descriptors_.resize(count * range.count);
    pyramid_.computeDescriptors(points_.data(), norms_.size(), levelOf(stage), norms_.data(),
                                descriptors_.front().data(), ahead);
  }

  // Writes the features of one of the count shapes that were described. A flat patch repeats the
  // descriptor before it, the first one what the buffer holds; the last descriptor stays in the
  // buffer. Returns whether the first landmark has a descriptor of its own.
  bool writeFeatures(std::size_t index, std::size_t count, const LandmarkRange& range,
                     DescriptorBuffer& buffer, float* features) const {
    for (std::size_t i = index; i < count * range.count; i += count) {
      if (norms_[i] > 0.0F) {
        buffer = descriptors_[i];
      }
      for (const std::uint8_t byte : buffer) {
        *features++ = static_cast<float>(byte) * 0.00390625F;
      }
    }
    return norms_[index] > 0.0F;
  }

  const SDMModel& model_;
  DescriptorPyramid pyramid_;
  std::size_t landmarks_;
  // Of what was described last.
  Shape points_;
  std::vector<float> norms_;
  std::vector<DescriptorBuffer> descriptors_;
  mp::matrix no_bias_;
};

// ----------------------------------------------------------------------------
// Boxes, shapes and their median.

// NaN goes last, so that the order is defined for every outcome.
bool comesBefore(float a, float b) { return a < b || (a == a && b != b); }

std::vector<Shape> shifted(const std::vector<Shape>& shapes, float offset) {
  std::vector<Shape> moved = shapes;
  for (Shape& shape : moved) {
    for (float& coordinate : shape) {
      coordinate += offset;
    }
  }
  return moved;
}

bool scalesToSaneSize(const SDMCore::GeneralUnit& unit, int width) {
  if (unit.box.width <= 0) {
    return false;
  }
  const float scale = static_cast<float>(width) / static_cast<float>(unit.box.width);
  return static_cast<float>(std::max(unit.image.cols, unit.image.rows)) * scale <=
         static_cast<float>(kLargestSide);
}

}  // namespace

std::vector<float> boxShape(const std::vector<float>& unit_shape, const cv::Rect& box) {
  std::vector<float> shape(unit_shape.size());
  for (std::size_t i = 0; i + 1 < shape.size(); i += 2) {
    shape[i] = static_cast<float>(box.width) * unit_shape[i] + static_cast<float>(box.x);
    shape[i + 1] = static_cast<float>(box.height) * unit_shape[i + 1] + static_cast<float>(box.y);
  }
  return shape;
}

int padImage(const cv::Mat& image, const std::vector<float>& shape, cv::Mat& padded) {
  const int pad = borderWidth(image, shape);
  if (pad < 1) {
    padded = image;
  } else {
    cv::copyMakeBorder(image, padded, pad, pad, pad, pad, cv::BORDER_CONSTANT, cv::Scalar(0));
  }
  return pad;
}

mp::matrix applyStage(const float* features, const mp::pca_map& map, const mp::matrix& bias,
                      std::vector<float>& shape) {
  mp::matrix delta(1, static_cast<std::int32_t>(shape.size()));
  map.project(features, delta.data);
  addMove(delta.data, bias, shape);
  return delta;
}

bool isUsable(const SDMModel& model) {
  const std::size_t coordinates = model.meanShape.size();
  if (coordinates == 0 || coordinates % 2 != 0 || coordinates > kMostCoordinates ||
      model.faceWidth < 1 || model.levelsPerOctave < 1 || model.levelsPerOctave > kMostLevels) {
    return false;
  }
  if (!model.stageMaps.empty() && model.stageLevels.empty()) {
    return false;
  }
  for (std::size_t stage = 0; stage < model.stageMaps.size(); ++stage) {
    if (!hasLevel(model, stage) || !mapFits(model.stageMaps[stage], coordinates)) {
      return false;
    }
  }
  return true;
}

// ----------------------------------------------------------------------------
// From an image and starting shapes to the outcome.

std::vector<std::vector<float>> regressEach(const SDMModel& model, const cv::Mat& image,
                                            const std::vector<std::vector<float>>& starts) {
  const auto fits = [&](const Shape& start) { return start.size() == model.meanShape.size(); };
  if (starts.empty() || !isUsable(model) || !std::all_of(starts.begin(), starts.end(), fits) ||
      borderWidth(image, starts.front()) > kLargestSide) {
    return {};
  }
  cv::Mat padded;
  const float pad = static_cast<float>(padImage(image, starts.front(), padded));
  if (!padded.isContinuous()) {
    padded = padded.clone();
  }
  Descent descent(model, padded);
  std::vector<Shape> shapes = shifted(starts, pad);
  if (!descent.runStageByStage(shapes)) {
    shapes = shifted(starts, pad);
    descent.runStartByStart(shapes);
  }
  return shifted(shapes, -pad);
}

std::vector<float> medianShape(const std::vector<std::vector<float>>& shapes) {
  Shape median = shapes.front();
  std::vector<float> outcomes(shapes.size());
  const auto middle = outcomes.begin() + static_cast<std::ptrdiff_t>(shapes.size() / 2);
  for (std::size_t c = 0; c < median.size(); ++c) {
    for (std::size_t i = 0; i < shapes.size(); ++i) {
      outcomes[i] = shapes[i][c];
    }
    std::nth_element(outcomes.begin(), middle, outcomes.end(), comesBefore);
    median[c] = *middle;
  }
  return median;
}

std::vector<float> regressShapes(const SDMModel& model, const cv::Mat& image,
                                 const std::vector<std::vector<float>>& starts,
                                 std::vector<float> /*ignored*/) {
  const std::vector<Shape> outcomes = regressEach(model, image, starts);
  return outcomes.empty() ? Shape() : medianShape(outcomes);
}

std::vector<std::vector<float>> startShapes(const std::vector<float>& mean_shape,
                                            const cv::Rect& box) {
  std::vector<std::vector<float>> starts = {boxShape(mean_shape, box)};
  for (int a = -1; a <= 1; ++a) {
    for (int b = -1; b <= 1; ++b) {
      if (a == 0 && b == 0) {
        continue;
      }
      const float offset_x = static_cast<float>(a) * kStartOffset;
      const float offset_y = static_cast<float>(b) * kStartOffset;
      Shape moved(mean_shape.size());
      for (std::size_t i = 0; i + 1 < moved.size(); i += 2) {
        // The way over the middle of the box is a rounding step that decides last digits.
        moved[i] = ((mean_shape[i] - 0.5F) + 0.5F) + offset_x;
        moved[i + 1] = ((mean_shape[i + 1] - 0.5F) + 0.5F) + offset_y;
      }
      starts.push_back(boxShape(moved, box));
    }
  }
  return starts;
}

std::vector<float> fitShape(const SDMModel& model, SDMCore::GeneralUnit& unit,
                            std::vector<std::vector<float>>* outcomes) {
  if (outcomes != nullptr) {
    outcomes->clear();
  }
  if (!isUsable(model) || !scalesToSaneSize(unit, model.faceWidth)) {
    return {};
  }
  unit.normalize(model.faceWidth);
  std::vector<Shape> shapes =
      regressEach(model, unit.image, startShapes(model.meanShape, unit.box));
  unit.shape = shapes.empty() ? Shape() : medianShape(shapes);
  unit.unscaleShapes();
  if (outcomes != nullptr) {
    for (Shape& shape : shapes) {
      for (float& coordinate : shape) {
        coordinate /= unit.scale;
      }
    }
    *outcomes = std::move(shapes);
  }
  return unit.shape;
}

std::vector<float> fitShape(SDMCore::GeneralUnit& unit) {
  const SDMModel* model = globalSDMModel();
  return model == nullptr ? std::vector<float>() : fitShape(*model, unit);
}

}  // namespace oznalib
