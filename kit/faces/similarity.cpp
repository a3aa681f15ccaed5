// Similarity transforms by complex numbers.

#include "kit/faces/similarity.h"

#include <complex>
#include <cstddef>

namespace kit {
namespace {

using Complex = std::complex<double>;

Complex complexOf(const cv::Point2d& point) { return {point.x, point.y}; }

Complex meanOf(const std::vector<cv::Point2d>& points) {
  Complex sum = 0;
  for (const cv::Point2d& point : points) {
    sum += complexOf(point);
  }
  return sum / static_cast<double>(points.size());
}

}  // namespace

Similarity fitSimilarity(const std::vector<cv::Point2d>& from, const std::vector<cv::Point2d>& to) {
  const Complex from_mean = meanOf(from);
  const Complex to_mean = meanOf(to);
  Complex product = 0;
  double spread = 0;
  for (std::size_t i = 0; i < from.size(); ++i) {
    const Complex centred = complexOf(from[i]) - from_mean;
    product += std::conj(centred) * (complexOf(to[i]) - to_mean);
    spread += std::norm(centred);
  }
  const Complex turn = spread > 0 ? product / spread : Complex(1, 0);
  const Complex shift = to_mean - turn * from_mean;
  return {turn.real(), turn.imag(), shift.real(), shift.imag()};
}

Similarity inverse(const Similarity& map) {
  const Complex turn = 1.0 / Complex(map.a, map.b);
  const Complex shift = -turn * Complex(map.tx, map.ty);
  return {turn.real(), turn.imag(), shift.real(), shift.imag()};
}

}  // namespace kit
