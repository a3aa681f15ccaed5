// The passes that look at each surviving box by itself: scoring, and calibration of its place and
// size.

#include "detector/stage_scoring.h"

#include <cblas.h>
#include <glog/logging.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <opencv2/imgproc.hpp>
#include <set>
#include <utility>
#include <vector>

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
        between_units_(stage.between_units),
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
    if (between_units_) between_units_();
    const cv::Mat view = image_(cv::Rect(box.x, box.y, box.width, box.height));
    if (input_.height() >= 1 && input_.width() >= 1) {
      // The crop keeps its memory from box to box, since its size does not change.
      cv::resize(view, crop_, cv::Size(input_.width(), input_.height()), 4.0, 0.0,
                 cv::INTER_LINEAR);
    } else {
      view.copyTo(crop_);
    }
    writePixelPlanesLessMean(crop_, mean_.data(), input_);
    net_.ForwardAll();
  }

 private:
  caffe::Net<float>& net_;
  const std::vector<float>& mean_;
  const std::function<void()>& between_units_;
  const cv::Mat& image_;
  FloatBlob& input_;
  const boost::shared_ptr<FloatBlob> probs_;
  cv::Mat crop_;
};

std::int32_t newSide(std::int32_t side, const OffsetScale& entry) {
  return truncateToPixel(static_cast<float>(side) / entry.scale);
}

// Applies one table entry to a box, or leaves the box alone where the result would not fit.
void applyOffsetScale(const OffsetScale& entry, const FloatBlob& input, const cv::Mat& image,
                      std::int32_t least_side, FaceCandidate& box) {
  const float width = static_cast<float>(box.width);
  const float height = static_cast<float>(box.height);
  const float shift_x = static_cast<float>(entry.dx) / static_cast<float>(input.width());
  const float shift_y = static_cast<float>(entry.dy) / static_cast<float>(input.height());
  const std::int64_t new_x = static_cast<std::int64_t>(box.x) - truncateToPixel(width * shift_x);
  const std::int64_t new_y = static_cast<std::int64_t>(box.y) - truncateToPixel(height * shift_y);
  const std::int32_t new_width = newSide(box.width, entry);
  const std::int32_t new_height = newSide(box.height, entry);
  if (new_width < least_side || new_height < least_side) {
    return;  // The entry of a damaged table, such as one with a scale of 0 or below.
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

// The calibration network with its table.
class Calibrator {
 public:
  Calibrator(CascadeStage& calibration, const cv::Mat& image)
      : judge_(calibration, image),
        offsets_(calibration.offsets),
        image_(image),
        least_side_(calibration.least_side) {
    entries_ = static_cast<int>(
        std::min<std::size_t>(offsets_.size(), static_cast<std::size_t>(judge_.probs().count())));
  }

  // Moves and resizes a box by the entry of the largest output.
  void apply(FaceCandidate& box) {
    judge_.run(box);
    // After the run: a layer that shares its input's memory, such as FlattenLayer, frees what its
    // output had before.
    const float* const outputs = judge_.probs().cpu_data();
    // Some libraries return 32 bits where the header of another promises 64.
    const std::size_t best = static_cast<std::uint32_t>(cblas_isamax(entries_, outputs, 1));
    if (!(outputs[best] < kLeastCalibrationOutput)) {
      applyOffsetScale(offsets_[best], judge_.input(), image_, least_side_, box);
    }
  }

  // Whether apply might leave the box with one of the widths.
  bool mayTakeWidth(const FaceCandidate& box, const std::set<std::int32_t>& widths) const {
    const auto is_wanted = [&](std::int32_t width) { return widths.count(width) != 0; };
    return is_wanted(box.width) || std::any_of(offsets_.begin(), offsets_.begin() + entries_,
                                               [&](const OffsetScale& entry) {
                                                 return is_wanted(newSide(box.width, entry));
                                               });
  }

 private:
  BoxJudge judge_;
  const std::vector<OffsetScale>& offsets_;
  const cv::Mat& image_;
  const std::int32_t least_side_;
  int entries_;
};

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
  Calibrator calibrator(calibration, image);
  for (FaceCandidate& candidate : list.candidates) {
    calibrator.apply(candidate);
  }
}

// A suppression within a group goes from the best score down, so that a box which the threshold
// drops comes after all that it leaves and cannot suppress any of them. All that it can do is to
// stand before them in the list and so decide when their group is met first, which is the place of
// the group in the result. So it is calibrated only while at least two groups are still to be met,
// and if one of its widths, as it is or by an entry, is that of such a group.
void calibrateDeciding(CascadeStage& calibration, const cv::Mat& image, float threshold,
                       CandidateList& list) {
  if (list.candidates.empty() || calibration.offsets.empty()) {
    return;
  }
  Calibrator calibrator(calibration, image);
  std::set<std::int32_t> widths_to_meet;
  for (FaceCandidate& candidate : list.candidates) {
    if (candidate.score > threshold) {
      calibrator.apply(candidate);
      widths_to_meet.insert(candidate.width);
    }
  }
  const auto decides = [&](FaceCandidate& candidate) {
    if (!(candidate.score > threshold)) {
      if (widths_to_meet.size() < 2 || !calibrator.mayTakeWidth(candidate, widths_to_meet)) {
        return false;
      }
      calibrator.apply(candidate);
    }
    widths_to_meet.erase(candidate.width);
    return true;
  };
  std::vector<FaceCandidate> deciding;
  for (FaceCandidate& candidate : list.candidates) {
    if (decides(candidate)) {
      deciding.push_back(candidate);
    }
  }
  list.candidates = std::move(deciding);
}

}  // namespace oznalib
