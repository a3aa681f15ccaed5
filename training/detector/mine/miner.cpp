// Windows by the scan, the scoring, the calibration and the suppression of the library.

#include "training/detector/mine/miner.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <map>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <random>

#include "detector/cascade_driver.h"
#include "detector/dense_stage.h"
#include "detector/stage_scoring.h"
#include "training/common/search.h"
#include "training/detector/mine/overlap.h"

namespace detector_training {
namespace {

using oznalib::CandidateList;
using oznalib::CascadeStage;
using oznalib::DetectorImpl;
using oznalib::FaceCandidate;

constexpr int kReceptiveField = 13;  // Of the first network, in pixels of a level,
constexpr int kStride = 6;           // and the distance of its cells.
constexpr int kThird = 2;
constexpr double kFaceOverlap = 0.3;
constexpr double kNearOverlap =
    0.15;  // Of boxes that stages from the third on must learn to refuse.
constexpr double kIgnoredOverlap = 0.2;

// A box, and for the first network the level and cell that it stands for.
struct Place {
  FaceCandidate box;
  int row = 0;
  int column = 0;
};

// The list of a scan has no cells, but it runs level by level and row by row.
std::vector<Place> withCells(const CandidateList& list) {
  std::vector<Place> places;
  for (const FaceCandidate& box : list.candidates) {
    Place place{box};
    if (!places.empty() && places.back().box.level == box.level) {
      const Place& last = places.back();
      const bool same_row = last.box.y == box.y;
      place.row = same_row ? last.row : last.row + 1;
      place.column = same_row ? last.column + 1 : 0;
    }
    places.push_back(place);
  }
  return places;
}

float floorOf(const DetectorImpl& detector, const MinerOptions& options, std::size_t stage) {
  return stage < options.floors.size() ? options.floors[stage] : detector.stages[stage].threshold;
}

// The boxes that reach a later stage: the driver's rounds with other thresholds.
CandidateList reaching(DetectorImpl& detector, const cv::Mat& rgb, const MinerOptions& options) {
  CandidateList list =
      oznalib::firstRound(detector, oznalib::makeWorkingImage(rgb, training::kSearch),
                          training::kSearch, floorOf(detector, options, 0));
  for (int i = 1; i < options.target; ++i) {
    oznalib::middleRound(detector, i, rgb, floorOf(detector, options, i), list);
  }
  return list;
}

// Boxes around the faces, scaled by up to a quarter and moved by up to an eighth; from the third
// stage on, which has to find the best of several boxes, every other one by up to three eighths.
void appendJittered(const View& view, const MinerOptions& options, std::mt19937_64& random,
                    CandidateList& list) {
  std::uniform_real_distribution<double> unit(-1, 1);
  for (const FaceSquare& face : view.faces) {
    if (face.ignore || face.side < 14) continue;
    for (int i = 0; i < options.jittered; ++i) {
      const double move = options.target >= kThird && i % 2 == 1 ? 0.375 : 0.125;
      const double side = face.side * std::exp(0.25 * unit(random));
      FaceCandidate box;
      box.width = box.height = static_cast<int>(side);
      box.x = static_cast<int>(std::floor(face.cx + move * unit(random) * face.side - 0.5 * side));
      box.y = static_cast<int>(std::floor(face.cy + move * unit(random) * face.side - 0.5 * side));
      if (box.x < 0 || box.y < 0 || box.x + box.width > view.rgb.cols ||
          box.y + box.height > view.rgb.rows) {
        continue;
      }
      box.score = -1;
      list.candidates.push_back(box);
    }
  }
}

WindowLabel labelOf(const FaceCandidate& box, const View& view) {
  WindowLabel label;
  label.x = static_cast<float>(box.x);
  label.y = static_cast<float>(box.y);
  label.side = static_cast<float>(box.width);
  label.score = box.score;
  const BestFace best = bestFace(box, view.faces, /*ignored=*/false);
  label.overlap = static_cast<float>(best.overlap);
  label.face = static_cast<float>(best.face);
  label.ignored_overlap = static_cast<float>(bestFace(box, view.faces, /*ignored=*/true).overlap);
  if (best.face >= 0) {
    const FaceSquare& face = view.faces[best.face];
    label.face_x = static_cast<float>(face.cx - 0.5 * face.side);
    label.face_y = static_cast<float>(face.cy - 0.5 * face.side);
    label.face_side = static_cast<float>(face.side);
  }
  return label;
}

// Chooses which windows to keep, by index. Negatives come in random order or hardest first.
std::vector<std::size_t> choose(const std::vector<WindowLabel>& labels, const MinerOptions& options,
                                std::mt19937_64& random) {
  const double near = options.target >= kThird ? kNearOverlap : kFaceOverlap;
  std::vector<std::size_t> kept;
  std::vector<std::size_t> negatives;
  for (std::size_t i = 0; i < labels.size(); ++i) {
    const WindowLabel& label = labels[i];
    const bool beside_ignored = label.ignored_overlap < kIgnoredOverlap;
    if (label.overlap >= kFaceOverlap || (label.overlap >= near && beside_ignored)) {
      kept.push_back(i);
    } else if (beside_ignored && label.overlap < kIgnoredOverlap &&
               label.score > options.keep_above) {
      negatives.push_back(i);
    }
  }
  std::shuffle(negatives.begin(), negatives.end(), random);
  if (options.score_target) {
    std::stable_sort(negatives.begin(), negatives.end(), [&](std::size_t a, std::size_t b) {
      return labels[a].score > labels[b].score;
    });
  }
  if (negatives.size() > static_cast<std::size_t>(options.negatives)) {
    negatives.resize(options.negatives);
  }
  kept.insert(kept.end(), negatives.begin(), negatives.end());
  return kept;
}

std::vector<WindowLabel> labelsOf(const CandidateList& list, const View& view) {
  std::vector<WindowLabel> labels;
  for (const FaceCandidate& box : list.candidates) labels.push_back(labelOf(box, view));
  return labels;
}

// What a network of that side sees of a box, which lies inside of the view as all boxes of the
// library do.
cv::Mat cutBox(const View& view, const FaceCandidate& box, int side) {
  cv::Mat pixels;
  cv::resize(view.rgb(cv::Rect(box.x, box.y, box.width, box.height)), pixels, cv::Size(side, side),
             4.0, 0.0, cv::INTER_LINEAR);
  return pixels;
}

std::vector<Window> cutLevels(DetectorImpl& detector, const View& view, const MinerOptions& options,
                              std::mt19937_64& random) {
  const int side = windowSide(detector, options);
  const oznalib::WorkingImage working = oznalib::makeWorkingImage(view.rgb, training::kSearch);
  CandidateList list =
      oznalib::scanDenseStage(detector.stages[0], working.pixels, training::kSearch);
  const std::vector<Place> places = withCells(list);
  oznalib::mapToImage(list, working.scale);
  const std::vector<WindowLabel> labels = labelsOf(list, view);
  std::map<int, cv::Mat> levels;
  std::vector<Window> windows;
  for (const std::size_t i : choose(labels, options, random)) {
    cv::Mat& level = levels[places[i].box.level];
    if (level.empty()) {
      level = oznalib::makeLevelImage(working.pixels, places[i].box.level, training::kSearch);
    }
    const cv::Rect field(kStride * places[i].column, kStride * places[i].row, kReceptiveField,
                         kReceptiveField);
    // Pooling rounds up, so the last cells look over the edge by a pixel or two.
    if ((field & cv::Rect(0, 0, level.cols, level.rows)) != field) continue;
    // Of another side, it is what a later stage would see of the same box.
    windows.push_back(
        {side == kReceptiveField ? level(field).clone() : cutBox(view, list.candidates[i], side),
         labels[i]});
  }
  return windows;
}

std::vector<Window> cutBoxes(DetectorImpl& detector, const View& view, const MinerOptions& options,
                             std::mt19937_64& random) {
  CandidateList list = reaching(detector, view.rgb, options);
  appendJittered(view, options, random, list);
  if (options.score_target) {
    oznalib::scoreCandidates(detector.stages[options.target], view.rgb, list);
  }
  const int side = windowSide(detector, options);
  const std::vector<WindowLabel> labels = labelsOf(list, view);
  std::vector<Window> windows;
  for (const std::size_t i : choose(labels, options, random)) {
    windows.push_back({cutBox(view, list.candidates[i], side), labels[i]});
  }
  return windows;
}

}  // namespace

int windowSide(const DetectorImpl& detector, const MinerOptions& options) {
  if (options.side > 0) return options.side;
  return options.target == kScan ? kReceptiveField
                                 : detector.stages[options.target].net->input_blobs()[0]->height();
}

std::vector<Window> mineView(DetectorImpl& detector, const View& view,
                             const MinerOptions& options) {
  std::mt19937_64 random(options.seed);
  return options.target == kScan ? cutLevels(detector, view, options, random)
                                 : cutBoxes(detector, view, options, random);
}

}  // namespace detector_training
