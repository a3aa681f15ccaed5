// Lines, texts and squares.

#include "training/common/drawing.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <opencv2/imgproc.hpp>

namespace training {

const cv::Scalar& inkOf(std::size_t curve) {
  static const std::array<cv::Scalar, 3> kInks = {cv::Scalar(180, 80, 20), cv::Scalar(40, 40, 200),
                                                  cv::Scalar(60, 150, 40)};
  return kInks[curve % kInks.size()];
}

void writeText(cv::Mat& picture, const std::string& text, cv::Point at, const cv::Scalar& ink) {
  cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, 0.45, ink, 1, cv::LINE_AA);
}

cv::Mat PlotArea::picture() const {
  return {height + 2 * margin, width + 2 * margin, CV_8UC3, cv::Scalar(255, 255, 255)};
}

cv::Point PlotArea::at(double right, double up) const {
  return {margin + static_cast<int>(std::lround(right * width)),
          margin + static_cast<int>(std::lround((1 - up) * height))};
}

void drawCurve(cv::Mat& picture, const std::vector<cv::Point>& points, const cv::Scalar& ink) {
  for (std::size_t i = 1; i < points.size(); ++i) {
    cv::line(picture, points[i - 1], points[i], ink, 2, cv::LINE_AA);
  }
}

cv::Mat contactSheet(const std::vector<cv::Mat>& cells, int columns, int side) {
  const int rows = std::max(1, (static_cast<int>(cells.size()) + columns - 1) / columns);
  cv::Mat sheet(rows * side, columns * side, CV_8UC3, kBlack);
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const int column = static_cast<int>(i) % columns;
    const int row = static_cast<int>(i) / columns;
    cells[i].copyTo(sheet(cv::Rect(column * side, row * side, side, side)));
  }
  return sheet;
}

}  // namespace training
