// Similarity transform and resampling.

#include "tools/chip.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <opencv2/imgproc.hpp>

namespace oznatool {

const std::array<cv::Point2d, 5> kChipPoints = {
    {{0.34, 0.42}, {0.66, 0.42}, {0.50, 0.60}, {0.37, 0.76}, {0.63, 0.76}}};

namespace {

using Complex = std::complex<double>;

Complex complexOf(const cv::Point2d& point) { return {point.x, point.y}; }

Complex meanOf(const std::vector<cv::Point2d>& points) {
  Complex sum = 0;
  for (const cv::Point2d& point : points) sum += complexOf(point);
  return sum / static_cast<double>(points.size());
}

// The targets of the landmarks in a square of this many pixels. Fractions count from the edge,
// pixel coordinates from the centre of the first pixel.
std::vector<cv::Point2d> targetsIn(int side_px) {
  std::vector<cv::Point2d> targets;
  for (const cv::Point2d& point : kChipPoints) {
    targets.push_back({point.x * side_px - 0.5, point.y * side_px - 0.5});
  }
  return targets;
}

}  // namespace

Similarity fitSimilarity(const std::vector<cv::Point2d>& from, const std::vector<cv::Point2d>& to) {
  const Complex from_mean = meanOf(from);
  const Complex to_mean = meanOf(to);
  Complex product = 0;
  double spread = 0;
  for (size_t i = 0; i < from.size(); ++i) {
    const Complex centred = complexOf(from[i]) - from_mean;
    product += std::conj(centred) * (complexOf(to[i]) - to_mean);
    spread += std::norm(centred);
  }
  const Complex turn = spread > 0 ? product / spread : Complex(1, 0);
  const Complex shift = to_mean - turn * from_mean;
  return {turn.real(), turn.imag(), shift.real(), shift.imag()};
}

cv::Mat cutChip(const cv::Mat& pixels, const std::vector<float>& points, int side_px) {
  constexpr double kLargest = 1e6;  // In pixels. No landmark lies as far out.
  std::vector<cv::Point2d> landmarks;
  for (size_t i = 0; i + 1 < points.size(); i += 2) {
    landmarks.push_back({double{points[i]}, double{points[i + 1]}});
    // The comparisons also turn not-a-number away, which the larger of two numbers may hide.
    const bool is_near =
        std::abs(landmarks.back().x) < kLargest && std::abs(landmarks.back().y) < kLargest;
    if (!is_near) return {};
  }
  if (landmarks.size() != kChipPoints.size()) return {};
  const auto is_first = [&](const cv::Point2d& point) { return point == landmarks.front(); };
  if (std::all_of(landmarks.begin(), landmarks.end(), is_first)) return {};
  const Similarity whole = fitSimilarity(landmarks, targetsIn(side_px));
  const double scale = std::hypot(whole.a, whole.b);
  if (!(scale > 0) || !(scale < kLargest)) return {};

  // A face larger than its chip is first cut out at a multiple of the chip's size and then averaged
  // down, since single samples of it would alias.
  constexpr int kLargestCut = 4096;
  const int most = std::max(1, kLargestCut / side_px);
  const int multiple = std::clamp(static_cast<int>(std::ceil(1 / scale)), 1, most);
  const Similarity map = fitSimilarity(landmarks, targetsIn(side_px * multiple));
  const cv::Matx23d matrix(map.a, -map.b, map.tx, map.b, map.a, map.ty);
  cv::Mat chip;
  cv::warpAffine(pixels, chip, matrix, cv::Size(side_px * multiple, side_px * multiple),
                 cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar(0, 0, 0));
  if (multiple > 1) cv::resize(chip, chip, cv::Size(side_px, side_px), 0, 0, cv::INTER_AREA);
  return chip;
}

}  // namespace oznatool
