/// What the pictures of the evaluations share: a plot of curves, and a sheet of small pictures.

#ifndef OZNA_TRAINING_COMMON_DRAWING_H_
#define OZNA_TRAINING_COMMON_DRAWING_H_

#include <cstddef>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace training {

// All pictures are 8-bit, blue, green, red, as cv::imwrite takes them.

inline const cv::Scalar kBlack(0, 0, 0);
inline const cv::Scalar kGrey(210, 210, 210);

/// The colour of a curve; three take turns.
const cv::Scalar& inkOf(std::size_t curve);

/// Writes a text with the left end of its base line at a point.
void writeText(cv::Mat& picture, const std::string& text, cv::Point at, const cv::Scalar& ink);

/// The area of a plot, in pixels, with a margin around it for the axes' texts.
struct PlotArea {
  int width = 600;
  int height = 400;
  int margin = 50;

  /// A white picture of the area and its margin.
  cv::Mat picture() const;
  /// The pixel of a point of the area: (0, 0) is its lower left corner, (1, 1) its upper right one.
  cv::Point at(double right, double up) const;
};

/// Joins neighbouring points by lines.
void drawCurve(cv::Mat& picture, const std::vector<cv::Point>& points, const cv::Scalar& ink);

/// A black sheet with small pictures in rows. cells  Squares of `side` pixels.
cv::Mat contactSheet(const std::vector<cv::Mat>& cells, int columns, int side);

}  // namespace training

#endif  // OZNA_TRAINING_COMMON_DRAWING_H_
