/// Cuts an aligned, upright picture of a face out of a photograph.

#ifndef OZNA_TOOLS_CHIP_H_
#define OZNA_TOOLS_CHIP_H_

#include <array>
#include <opencv2/core/mat.hpp>
#include <vector>

namespace oznatool {

/// Where the five landmarks of every chip lie, as fractions of its side: eyes, tip of the nose,
/// corners of the mouth, the one on the left side of the picture first.
extern const std::array<cv::Point2d, 5> kChipPoints;

/// A map of the plane that turns, scales and moves, and does not mirror:
/// (x, y) -> (a x - b y + tx, b x + a y + ty).
struct Similarity {
  double a, b, tx, ty;
  cv::Point2d operator()(const cv::Point2d& p) const {
    return {a * p.x - b * p.y + tx, b * p.x + a * p.y + ty};
  }
};

/// The similarity that takes one set of points to another with the least sum of squared distances.
///
/// from, to  Of equal number. Where all points of from are one, the result is a shift.
/// Source    S. Umeyama, Least-squares estimation of transformation parameters between two point
///           patterns, 1991; in the plane it comes down to one complex division.
Similarity fitSimilarity(const std::vector<cv::Point2d>& from, const std::vector<cv::Point2d>& to);

/// A square picture of one face, turned so that the landmarks lie at kChipPoints as nearly as a
/// similarity brings them.
///
/// pixels  8-bit, three channels. What lies outside of it is black in the chip.
/// points  x0, y0, ..., x4, y4 in pixels, 0 at the centre of the first pixel.
/// Returns Empty where the points do not make a face: not finite, or all on one spot.
/// Cost    Grows with the area of the chip, and with that of the face in the photograph where it is
///         larger, since it is then averaged down.
cv::Mat cutChip(const cv::Mat& pixels, const std::vector<float>& points, int side_px);

}  // namespace oznatool

#endif  // OZNA_TOOLS_CHIP_H_
