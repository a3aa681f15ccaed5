/// The passes that look at each surviving box by itself: scoring, and calibration of its place and
/// size.

#include "detector/stage_scoring.h"

#include <cblas.h>
#include <glog/logging.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <opencv2/imgproc.hpp>

#include "caffe/util/math_functions.hpp"
#include "detector/pixel_planes.h"
#include "detector/pixel_truncation.h"

namespace oznalib {
namespace {

using FloatBlob = caffe::Blob<float>;

constexpr float kLeastCalibrationOutput = 0.1F;

// Runs a stage's network on one box after the other; what is the same for all boxes is looked up
// once.
class BoxJudge {
 public:
  BoxJudge(CascadeStage& stage, const cv::Mat& image)
      : net_(*stage.net),
        mean_(stage.mean),
        image_(image),
        input_(*net_.input_blobs()[0]),
        probs_(net_.blob_by_name(probsBlobName)) {
    CHECK(probs_ != nullptr) << "A network has no blob \"" << probsBlobName << "\".";
    CHECK_GE(mean_.size(), static_cast<std::size_t>(input_.count()))
        << "The mean image of a stage has fewer values than its network's input.";
  }

  const FloatBlob& input() const { return input_; }
  const FloatBlob& probs() const { return *probs_; }

  void run(const FaceCandidate& box) {
    const cv::Mat view = image_(cv::Rect(box.x, box.y, box.width, box.height));
    if (input_.height() >= 1 && input_.width() >= 1) {
      // The crop keeps its memory from box to box, since its size does not change.
      cv::resize(view, crop_, cv::Size(input_.width(), input_.height()), 4.0, 0.0,
                 cv::INTER_LINEAR);
    } else {
      view.copyTo(crop_);
    }
    writePixelPlanes(crop_, input_);
    float* const values = input_.mutable_cpu_data();
    vsSub(input_.count(), values, mean_.data(), values);
    net_.ForwardAll();
  }

 private:
  caffe::Net<float>& net_;
  const std::vector<float>& mean_;
  const cv::Mat& image_;
  FloatBlob& input_;
  const boost::shared_ptr<FloatBlob> probs_;
  cv::Mat crop_;
};

// Applies one table entry to a box, or leaves the box alone where the result would not fit.
void applyOffsetScale(const OffsetScale& entry, const FloatBlob& input, const cv::Mat& image,
                      FaceCandidate& box) {
  const float width = static_cast<float>(box.width);
  const float height = static_cast<float>(box.height);
  const float shift_x = static_cast<float>(entry.dx) / static_cast<float>(input.width());
  const float shift_y = static_cast<float>(entry.dy) / static_cast<float>(input.height());
  const std::int64_t new_x = static_cast<std::int64_t>(box.x) - truncateToPixel(width * shift_x);
  const std::int64_t new_y = static_cast<std::int64_t>(box.y) - truncateToPixel(height * shift_y);
  const std::int32_t new_width = truncateToPixel(width / entry.scale);
  const std::int32_t new_height = truncateToPixel(height / entry.scale);
  if (new_width < 0 || new_height < 0) {
    return;  // The entry of a damaged table, with a scale of 0 or below.
  }
  if (new_x < 0 || new_y < 0 || new_x >= static_cast<std::int64_t>(image.cols) - new_width ||
      new_y >= static_cast<std::int64_t>(image.rows) - new_height) {
    return;
  }
  box.x = static_cast<std::int32_t>(new_x);
  box.y = static_cast<std::int32_t>(new_y);
  box.width = new_width;
  box.height = new_height;
}

}  // namespace

void scoreCandidates(CascadeStage& stage, const cv::Mat& image, CandidateList& list) {
  if (list.candidates.empty()) {
    return;
  }
  BoxJudge judge(stage, image);
  for (FaceCandidate& candidate : list.candidates) {
    judge.run(candidate);
    candidate.score = judge.probs().cpu_data()[judge.probs().offset(0, 0, 0, 0) + 1];
  }
}

void calibrateCandidates(CascadeStage& calibration, const cv::Mat& image, CandidateList& list) {
  if (list.candidates.empty() || calibration.offsets.empty()) {
    return;
  }
  BoxJudge judge(calibration, image);
  const int entry_count = static_cast<int>(std::min<std::size_t>(
      calibration.offsets.size(), static_cast<std::size_t>(judge.probs().count())));
  const float* const outputs = judge.probs().cpu_data();
  for (FaceCandidate& candidate : list.candidates) {
    judge.run(candidate);
    // Some libraries return 32 bits where the header of another promises 64.
    const std::size_t best = static_cast<std::uint32_t>(cblas_isamax(entry_count, outputs, 1));
    if (outputs[best] < kLeastCalibrationOutput) {
      continue;
    }
    applyOffsetScale(calibration.offsets[best], judge.input(), image, candidate);
  }
}

}  // namespace oznalib
