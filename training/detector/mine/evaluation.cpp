// Detections against annotations, greedily by score.

#include "training/detector/mine/evaluation.h"

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <memory>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <utility>

#include "detector/cascade_driver.h"
#include "detector/model_store.h"
#include "detector/stage_results.h"
#include "training/common/parallel_for.h"
#include "training/common/photograph.h"
#include "training/common/search.h"
#include "training/detector/mine/miner.h"
#include "training/detector/mine/overlap.h"

namespace detector_training {
namespace {

// Of one photograph.
struct PhotographResult {
  std::vector<FaceResult> faces;
  std::vector<WrongBox> wrong;
  std::vector<double> judged;
  double passed = 0;
  double milliseconds = 0;
};

// Processor time of this thread, which other processes do not lengthen.
double threadMilliseconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return 1e3 * static_cast<double>(now.tv_sec) + 1e-6 * static_cast<double>(now.tv_nsec);
}

// Of a search as callers have it. One that returns the boxes of each stage calibrates those that it
// drops too, and takes a third longer with four stages.
double searchMilliseconds(oznalib::DetectorImpl& detector, float threshold, const cv::Mat& rgb) {
  float& last = detector.stages.back().threshold;
  const float none = std::exchange(last, threshold);
  const double start = threadMilliseconds();
  oznalib::runCascade(detector, rgb, training::kSearch);
  const double taken = threadMilliseconds() - start;
  last = none;
  return taken;
}

double countAbove(const oznalib::CandidateList& list, float threshold) {
  return static_cast<double>(
      std::count_if(list.candidates.begin(), list.candidates.end(),
                    [&](const oznalib::FaceCandidate& box) { return box.score > threshold; }));
}

// Whether a box with a score above the threshold would match the face.
bool covers(const oznalib::CandidateList& list, float threshold, const FaceSquare& face) {
  return std::any_of(list.candidates.begin(), list.candidates.end(),
                     [&](const oznalib::FaceCandidate& box) {
                       return box.score > threshold && overlap(box, face) >= kMatchOverlap;
                     });
}

bool isGrey(const cv::Mat& rgb) {
  std::vector<cv::Mat> planes;
  cv::split(rgb, planes);
  return cv::norm(planes[0], planes[1], cv::NORM_INF) <= 6 &&
         cv::norm(planes[1], planes[2], cv::NORM_INF) <= 6;
}

FaceResult describe(const cv::Mat& rgb, bool grey, const FaceSquare& face, int photograph) {
  FaceResult result;
  result.photograph = photograph;
  result.face = face;
  result.relative_side = face.side / std::max(rgb.cols, rgb.rows);
  result.grey_photograph = grey;
  const cv::Rect square(static_cast<int>(face.cx - 0.5 * face.side),
                        static_cast<int>(face.cy - 0.5 * face.side), static_cast<int>(face.side),
                        static_cast<int>(face.side));
  const cv::Rect inside = square & cv::Rect(0, 0, rgb.cols, rgb.rows);
  if (!inside.empty()) {
    cv::Mat part;
    cv::cvtColor(rgb(inside), part, cv::COLOR_RGB2GRAY);
    result.brightness = cv::mean(part)[0];
  }
  return result;
}

void match(const oznalib::CandidateList& found, const Photograph& photograph, int index,
           PhotographResult& result, const std::vector<int>& result_of_face) {
  for (const oznalib::FaceCandidate& box : found.candidates) {  // By descending score.
    int best = -1;
    double best_overlap = 0;
    double best_uncounted = 0;
    for (std::size_t i = 0; i < photograph.faces.size(); ++i) {
      const double value = overlap(box, photograph.faces[i]);
      if (result_of_face[i] < 0) {
        best_uncounted = std::max(best_uncounted, value);
      } else if (value > best_overlap) {
        best = result_of_face[i];
        best_overlap = value;
      }
    }
    if (best_overlap >= kMatchOverlap) {
      FaceResult& face = result.faces[best];
      if (face.score >= 0) continue;
      face.score = box.score;
      face.overlap = best_overlap;
    } else if (best_uncounted < kUncountedOverlap) {
      result.wrong.push_back({index, box});
    }
  }
}

// `threshold` is the last network's own, which the detector was relieved of.
PhotographResult measureOne(oznalib::DetectorImpl& detector, float threshold,
                            const Photograph& photograph, int index) {
  const cv::Mat rgb = training::readPhotoRgb(photograph.path);
  PhotographResult result;
  result.milliseconds = searchMilliseconds(detector, threshold, rgb);
  oznalib::StageResults stages(detector.stages.size());
  const oznalib::CandidateList found =
      oznalib::runCascade(detector, rgb, stages, training::kSearch);
  const std::size_t last = stages.size() - 1;
  // What a stage judges is what the one before lets through; the scan judges every cell.
  const auto before = [&](std::size_t stage) -> const oznalib::CandidateList& {
    return stages[std::max<std::size_t>(stage, 1) - 1][0];
  };
  const auto floor = [&](std::size_t stage) {
    return stage == 0 ? -1.0F : detector.stages[stage - 1].threshold;
  };
  for (std::size_t i = 0; i <= last; ++i) result.judged.push_back(countAbove(before(i), floor(i)));
  result.passed = countAbove(stages[last][0], threshold);
  const bool grey = isGrey(rgb);
  std::vector<int> result_of_face;
  for (const FaceSquare& face : photograph.faces) {
    const bool counts = !face.ignore && face.side >= kLeastSide * std::max(rgb.cols, rgb.rows);
    result_of_face.push_back(counts ? static_cast<int>(result.faces.size()) : -1);
    if (!counts) continue;
    result.faces.push_back(describe(rgb, grey, face, index));
    for (std::size_t i = 0; i <= last; ++i) {
      result.faces.back().reached.push_back(covers(before(i), floor(i), face));
    }
  }
  match(found, photograph, index, result, result_of_face);
  return result;
}

std::unique_ptr<oznalib::DetectorImpl> loadCascade(const std::string& models) {
  auto detector = std::make_unique<oznalib::DetectorImpl>();
  const std::string root = models + "/";
  const char* folder = root.c_str();
  const oznalib::DetectorParams params(folder, "stages.txt");
  if (oznalib::loadFromFiles(params, *detector) != oznalib::StatusOk ||
      detector->stages.size() < 2) {
    throw std::runtime_error("no cascade in " + models);
  }
  return detector;
}

}  // namespace

Measurement measure(const std::string& models, const std::vector<Photograph>& photographs,
                    int threads) {
  Measurement sum;
  sum.name = models;
  sum.photographs = static_cast<int>(photographs.size());
  std::vector<std::unique_ptr<oznalib::DetectorImpl>> detectors;
  for (int i = 0; i < threads; ++i) detectors.push_back(loadCascade(models));
  sum.threshold = detectors[0]->stages.back().threshold;
  for (const auto& detector : detectors) detector->stages.back().threshold = 0;
  sum.judged.resize(detectors[0]->stages.size());
  std::vector<PhotographResult> results(photographs.size());
  training::parallelFor(threads, threads, [&](int thread) {
    for (std::size_t i = thread; i < photographs.size(); i += threads) {
      results[i] =
          measureOne(*detectors[thread], sum.threshold, photographs[i], static_cast<int>(i));
    }
  });
  for (const PhotographResult& result : results) {
    sum.faces.insert(sum.faces.end(), result.faces.begin(), result.faces.end());
    sum.wrong.insert(sum.wrong.end(), result.wrong.begin(), result.wrong.end());
    for (std::size_t i = 0; i < sum.judged.size(); ++i) sum.judged[i] += result.judged[i];
    sum.passed += result.passed;
    sum.milliseconds += result.milliseconds;
  }
  std::stable_sort(sum.wrong.begin(), sum.wrong.end(),
                   [](const WrongBox& a, const WrongBox& b) { return a.box.score > b.box.score; });
  return sum;
}

Reliability reliabilityOf(const Measurement& measurement, float from, float to) {
  const auto inside = [&](float score) {
    return score >= from && (score < to || (to == 1 && score <= to));
  };
  Reliability result;
  int faces = 0;
  const auto count = [&](float score, bool face) {
    if (!inside(score)) return;
    result.mean_score += score;
    faces += face ? 1 : 0;
    ++result.boxes;
  };
  for (const FaceResult& face : measurement.faces) count(face.score, true);
  for (const WrongBox& wrong : measurement.wrong) count(wrong.box.score, false);
  if (result.boxes == 0) return result;
  result.mean_score /= result.boxes;
  result.share = static_cast<double>(faces) / result.boxes;
  return result;
}

OperatingPoint atThreshold(const Measurement& measurement, float threshold) {
  OperatingPoint point;
  point.threshold = threshold;
  double found = 0;
  double overlaps = 0;
  for (const FaceResult& face : measurement.faces) {
    if (face.score <= threshold) continue;
    found += 1;
    overlaps += face.overlap;
  }
  double wrong = 0;
  for (const WrongBox& box : measurement.wrong) wrong += box.box.score > threshold ? 1 : 0;
  point.recall = measurement.faces.empty() ? 0 : found / measurement.faces.size();
  point.mean_overlap = found > 0 ? overlaps / found : 0;
  point.wrong_each = measurement.photographs > 0 ? wrong / measurement.photographs : 0;
  return point;
}

OperatingPoint atWrongEach(const Measurement& measurement, double wrong_each) {
  const auto allowed = static_cast<std::size_t>(wrong_each * measurement.photographs);
  // Scores above that of the first wrong box too many; ties of wrong boxes go out together.
  const float threshold =
      allowed < measurement.wrong.size() ? measurement.wrong[allowed].box.score : 0;
  return atThreshold(measurement, threshold);
}

}  // namespace detector_training
