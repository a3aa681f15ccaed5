// The fit of an average head in weak perspective.

#include "kit/faces/head_pose.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <opencv2/core.hpp>
#include <vector>

#include "kit/faces/face_square.h"
#include "kit/faces/head_shape.h"

namespace kit {
namespace {

constexpr double kDegrees = 57.29577951308232;
constexpr int kMostSteps = 300;
constexpr int kPolarSteps = 8;    // Each squares the rest of the error.
constexpr double kEnough = 1e-6;  // Change of the rotation in a step, as a sum of squares of cells.

struct Weight {
  std::size_t first;
  std::size_t last;
  double weight;
};
// What does not move with an expression counts most.
constexpr Weight kWeights[] = {{17, 26, 0.25}, {27, 35, 1},   {36, 36, 1},   {37, 38, 0.5},
                               {39, 39, 1},    {40, 41, 0.5}, {42, 42, 1},   {43, 44, 0.5},
                               {45, 45, 1},    {46, 47, 0.5}, {48, 48, 0.5}, {49, 53, 0.25},
                               {54, 54, 0.5}};

struct Point {
  cv::Vec3d head;   // About the centre of the head's points.
  cv::Vec2d image;  // About the centre of the face's points.
  double weight;
};

std::vector<Point> centredPoints(const std::vector<float>& landmarks) {
  std::vector<Point> points;
  cv::Vec3d head_sum;
  cv::Vec2d image_sum;
  double sum = 0;
  for (const Weight& range : kWeights) {
    for (std::size_t i = range.first; i <= range.last; ++i) {
      points.push_back({kHeadShape[i], {landmarks[2 * i], landmarks[2 * i + 1]}, range.weight});
      head_sum += range.weight * points.back().head;
      image_sum += range.weight * points.back().image;
      sum += range.weight;
    }
  }
  for (Point& point : points) {
    point.head -= head_sum * (1 / sum);
    point.image -= image_sum * (1 / sum);
  }
  return points;
}

struct Fit {
  cv::Matx33d rotation;
  double scale;  // Pixels in a millimetre.
};

// The upright head turned within the picture only.
bool startFit(const std::vector<Point>& points, Fit& fit) {
  std::vector<cv::Point2d> from;
  std::vector<cv::Point2d> to;
  for (const Point& point : points) {
    from.emplace_back(point.head[0], point.head[1]);
    to.emplace_back(point.image[0], point.image[1]);
  }
  const Similarity map = fitSimilarity(from, to);
  fit.scale = std::hypot(map.a, map.b);
  if (!(fit.scale > 0) || !std::isfinite(fit.scale)) {
    return false;
  }
  const double c = map.a / fit.scale;
  const double s = map.b / fit.scale;
  fit.rotation = {c, -s, 0, s, c, 0, 0, 0, 1};
  return true;
}

double sumOfProducts(const cv::Matx33d& a, const cv::Matx33d& b) { return a.ddot(b); }

// The rotation next to a matrix: the iteration of N. J. Higham, Computing the polar decomposition,
// 1986. Needs a positive determinant.
cv::Matx33d nearestRotation(cv::Matx33d matrix) {
  for (int step = 0; step < kPolarSteps; ++step) {
    const cv::Matx33d other = matrix.inv().t();
    const double size = std::sqrt(std::sqrt(sumOfProducts(other, other)) /
                                  std::sqrt(sumOfProducts(matrix, matrix)));
    matrix = 0.5 * (size * matrix + (1 / size) * other);
  }
  return matrix;
}

// The rotation and the scale that bring the head nearest to the face, were the face as deep as the
// previous fit has it. Returns the previous fit where the points determine no rotation.
Fit nextFit(const std::vector<Point>& points, const Fit& fit) {
  cv::Matx33d product;
  double spread = 0;
  for (const Point& point : points) {
    const cv::Vec3d turned = fit.rotation * point.head;
    const cv::Vec3d target(point.image[0], point.image[1], fit.scale * turned[2]);
    product += point.weight * target * point.head.t();
    spread += point.weight * point.head.dot(point.head);
  }
  const double size = std::sqrt(sumOfProducts(product, product));
  if (!(cv::determinant(product) > 1e-12 * size * size * size)) {
    return fit;
  }
  const cv::Matx33d rotation = nearestRotation(product);
  return {rotation, sumOfProducts(rotation, product) / spread};
}

double misfitOf(const std::vector<Point>& points, const Fit& fit) {
  double error = 0;
  double spread = 0;
  for (const Point& point : points) {
    const cv::Vec3d turned = fit.scale * (fit.rotation * point.head);
    const cv::Vec2d distance(turned[0] - point.image[0], turned[1] - point.image[1]);
    error += point.weight * distance.dot(distance);
    spread += point.weight * point.image.dot(point.image);
  }
  return std::sqrt(error / spread);
}

}  // namespace

HeadPose headPose(const std::vector<float>& landmarks) {
  constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
  const std::vector<Point> points = centredPoints(landmarks);
  Fit fit;
  if (!startFit(points, fit)) {
    return {kNone, kNone, kNone, kNone};
  }
  for (int step = 0; step < kMostSteps; ++step) {
    const Fit next = nextFit(points, fit);
    const cv::Matx33d difference = next.rotation - fit.rotation;
    const double change = sumOfProducts(difference, difference);
    fit = next;
    if (!(change > kEnough * kEnough)) {
      break;
    }
  }
  const cv::Matx33d& r = fit.rotation;
  const double sine = std::fmax(-1.0, std::fmin(1.0, r(2, 0)));
  return {static_cast<float>(std::atan2(r(1, 0), r(0, 0)) * kDegrees),
          static_cast<float>(std::asin(sine) * kDegrees),
          static_cast<float>(std::atan2(-r(2, 1), r(2, 2)) * kDegrees),
          static_cast<float>(misfitOf(points, fit))};
}

}  // namespace kit
