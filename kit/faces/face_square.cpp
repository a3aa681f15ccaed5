// Places of the five landmarks in squares and boxes.

#include "kit/faces/face_square.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "alignment/landmark_groups.h"

namespace kit {
namespace {

constexpr double kFarthest = 1e6;  // In pixels. No landmark lies as far out.
constexpr std::size_t kFive = 5;
constexpr std::size_t kAll = 68;

using Places = std::array<cv::Point2d, kFive>;

// Eyes, tip of the nose, corners of the mouth, as fractions of the square's side.
const Places kInSquare = {{{0.34, 0.42}, {0.66, 0.42}, {0.50, 0.60}, {0.37, 0.76}, {0.63, 0.76}}};
// In the box of a detected face: where the landmark model's mean shape has them.
const Places kInBox = {
    {{0.328, 0.405}, {0.702, 0.405}, {0.516, 0.620}, {0.355, 0.808}, {0.677, 0.808}}};

}  // namespace

std::optional<Similarity> chipMap(const std::vector<float>& points, const cv::Size& chip,
                                  double padding) {
  for (const float coordinate : points) {
    // The comparison also turns NaN away.
    if (!(std::abs(double{coordinate}) < kFarthest)) {
      return std::nullopt;
    }
  }
  const std::vector<float> five =
      points.size() == 2 * kAll ? oznalib::groupCentres(points) : points;
  if (five.size() != 2 * kFive) {
    return std::nullopt;
  }
  const double side = std::min(chip.width, chip.height) / (1 + 2 * padding);
  std::vector<cv::Point2d> from;
  std::vector<cv::Point2d> to;
  for (std::size_t i = 0; i < kFive; ++i) {
    from.emplace_back(five[2 * i], five[2 * i + 1]);
    // Fractions count from the edge, pixels from the centre of the first one.
    to.emplace_back((chip.width - side) / 2 + kInSquare[i].x * side - 0.5,
                    (chip.height - side) / 2 + kInSquare[i].y * side - 0.5);
  }
  const auto is_first = [&](const cv::Point2d& point) { return point == from.front(); };
  if (std::all_of(from.begin(), from.end(), is_first)) {
    return std::nullopt;
  }
  const Similarity map = fitSimilarity(from, to);
  const double scale = std::hypot(map.a, map.b);
  if (!(scale > 1 / kFarthest) || !(scale < kFarthest)) {
    return std::nullopt;
  }
  return map;
}

std::vector<float> usualPoints(const oznalib::Rectangle<float>& box) {
  std::vector<float> points;
  for (const cv::Point2d& place : kInBox) {
    points.push_back(
        static_cast<float>(box.left + place.x * (double{box.right} - double{box.left}) - 0.5));
    points.push_back(
        static_cast<float>(box.top + place.y * (double{box.bottom} - double{box.top}) - 0.5));
  }
  return points;
}

}  // namespace kit
