// The first stage: one fully convolutional network over a small pyramid of the working image.

#include "detector/dense_stage.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "detector/pixel_planes.h"
#include "detector/pixel_truncation.h"

namespace oznalib {
namespace {

using FloatBlob = caffe::Blob<float>;
using FloatNet = caffe::Net<float>;

float levelFactor(float pyramid_factor, int level) {
  return level == 2 ? pyramid_factor * pyramid_factor
                    : std::pow(pyramid_factor, static_cast<float>(level));
}

std::int64_t capacity(const FloatBlob& blob) {
  return blob.data_ ? static_cast<std::int64_t>(blob.data_->size() / sizeof(float)) : 0;
}

// Counts are 32-bit: a level beyond that cannot even be compared after the shapes were altered.
bool countIsRepresentable(const FloatBlob& input, const cv::Mat& level_image) {
  const double count = static_cast<double>(level_image.cols) * level_image.rows *
                       std::max(input.num(), 1) * std::max(input.channels(), 1);
  return count <= std::numeric_limits<std::int32_t>::max();
}

// The index of the first blob that a forward pass at the present shapes would overrun, or -1 where
// all of it stays within the memory of construction.
//
// It is enough to look at the blobs: a convolution's column buffer and its row of ones grow with
// its output positions as its top does, and the scratch of a softmax grows with its own top. What
// counts is the number of values and not the sides, so a wide image may pass that is wider than
// the network.
int overrunBlob(const FloatNet& net) {
  for (std::size_t i = 0; i < net.blobs().size(); ++i) {
    if (net.blobs()[i]->count() > capacity(*net.blobs()[i])) {
      return static_cast<int>(i);
    }
  }
  if (net.firstConvLayerIndex() != 0) {
    return -1;  // The fast path refuses such a network itself.
  }
  const auto corrections = std::int64_t{net.first_run_count()};
  for (const int top : net.top_id_vecs()[0]) {
    if (net.blobs()[static_cast<std::size_t>(top)]->count() > corrections) {
      return top;
    }
  }
  return -1;
}

void logOversize(const FloatNet& net, const cv::Mat& level_image, int overrun) {
  const FloatBlob& input = *net.input_blobs()[0];
  const auto index = static_cast<std::size_t>(overrun);
  if (overrun == net.input_blob_indices()[0]) {
    const std::int64_t planes =
        static_cast<std::int64_t>(std::max(input.num(), 1)) * std::max(input.channels(), 1);
    LOG(ERROR) << "The working image, " << level_image.cols << " by " << level_image.rows
               << " pixels, exceeds the first network, which is built for "
               << capacity(input) / planes
               << " pixels: reduce maxImageSide or raise minFaceFraction.";
    return;
  }
  LOG(ERROR) << "The working image, " << level_image.cols << " by " << level_image.rows
             << " pixels, exceeds the first network, whose blob \"" << net.blob_names()[index]
             << "\" would take " << net.blobs()[index]->count() << " values and has room for "
             << capacity(*net.blobs()[index]) << ": reduce maxImageSide or raise minFaceFraction.";
}

// Where the cells of a probability map lie along one axis, in pixels of the working image.
std::vector<std::int32_t> cellPositions(int cells, int level_side, int window_size, float factor) {
  const float step =
      static_cast<float>(cells - 1) / static_cast<float>(level_side - window_size - 1);
  std::vector<std::int32_t> positions(cells);
  for (int cell = 0; cell < cells; ++cell) {
    const std::int32_t in_level = truncateToPixel(static_cast<float>(cell) / step + 0.5F);
    positions[cell] = truncateToPixel(static_cast<float>(in_level) * factor);
  }
  return positions;
}

void appendCells(const FloatBlob& probs, const cv::Mat& level_image, int window_size, float factor,
                 int level, std::vector<FaceCandidate>& candidates) {
  const std::vector<std::int32_t> lefts =
      cellPositions(probs.width(), level_image.cols, window_size, factor);
  const std::vector<std::int32_t> tops =
      cellPositions(probs.height(), level_image.rows, window_size, factor);
  const std::int32_t side = truncateToPixel(static_cast<float>(window_size) * factor);
  const float* face_probability = probs.cpu_data() + lefts.size() * tops.size();
  candidates.reserve(candidates.size() + lefts.size() * tops.size());
  for (const std::int32_t top : tops) {
    for (const std::int32_t left : lefts) {
      candidates.push_back({left, top, side, side, *face_probability++, level});
    }
  }
}

}  // namespace

cv::Mat makeLevelImage(const cv::Mat& working, int level, const CascadeParameter& parameter) {
  if (level == 0) {
    return working;
  }
  const float factor = levelFactor(parameter.pyramidFactor, level);
  const int width = truncateToPixel(static_cast<float>(working.cols) / factor);
  const int height = truncateToPixel(static_cast<float>(working.rows) / factor);
  if (width <= parameter.windowSize + 1 || height <= parameter.windowSize + 1) {
    return cv::Mat();
  }
  cv::Mat resized;
  cv::resize(working, resized, cv::Size(width, height), 4.0, 0.0, cv::INTER_LINEAR);
  return resized;
}

CandidateList scanDenseStage(CascadeStage& stage, const cv::Mat& working,
                             const CascadeParameter& parameter) {
  FloatNet& net = *stage.net;
  FloatBlob& input = *net.input_blobs()[0];
  const boost::shared_ptr<FloatBlob> probs = net.blob_by_name(probsBlobName);
  CHECK(probs != nullptr) << "The first network has no blob \"" << probsBlobName << "\".";
  CandidateList list;
  for (int level = 0; level < parameter.pyramidLevels; ++level) {
    if (stage.between_units) stage.between_units();
    const cv::Mat level_image = makeLevelImage(working, level, parameter);
    if (level_image.empty()) {
      break;
    }
    if (!countIsRepresentable(input, level_image)) {
      logOversize(net, level_image, net.input_blob_indices()[0]);
      return CandidateList();
    }
    net.AlterInputShape(level_image.cols, level_image.rows);
    if (probs->width() < 2 || probs->height() < 2) {
      break;
    }
    if (const int overrun = overrunBlob(net); overrun != -1) {
      logOversize(net, level_image, overrun);
      return CandidateList();
    }
    writePixelPlanes(level_image, input);
    net.FF();
    const float factor = levelFactor(parameter.pyramidFactor, level);
    appendCells(*probs, level_image, parameter.windowSize, factor, level, list.candidates);
  }
  return list;
}

}  // namespace oznalib
