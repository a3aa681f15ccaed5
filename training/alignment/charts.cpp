// Plain drawing of curves and contact sheets.

#include "training/alignment/charts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <opencv2/imgproc.hpp>

#include "training/common/drawing.h"
#include "training/common/photograph.h"

namespace alignment_training {
namespace {

using training::kBlack;
using training::kGrey;
using training::writeText;

constexpr double kLastLimit = 0.15;
constexpr int kCellSide = 240;
constexpr training::PlotArea kErrorArea{};

cv::Point plotPoint(double limit, double share) { return kErrorArea.at(limit / kLastLimit, share); }

void drawGrid(cv::Mat& picture) {
  for (int percent = 0; percent <= 15; percent += 1) {
    const cv::Point foot = plotPoint(percent / 100.0, 0);
    cv::line(picture, foot, plotPoint(percent / 100.0, 1), percent == 0 ? kBlack : kGrey);
    writeText(picture, std::to_string(percent) + "%", foot + cv::Point(-10, 18), kBlack);
  }
  for (int tenth = 0; tenth <= 10; ++tenth) {
    const cv::Point start = plotPoint(0, tenth / 10.0);
    cv::line(picture, start, plotPoint(kLastLimit, tenth / 10.0), tenth == 0 ? kBlack : kGrey);
    writeText(picture, std::to_string(10 * tenth) + "%", start + cv::Point(-44, 5), kBlack);
  }
  writeText(picture, "mean distance of 68 points / distance of the outer eye corners",
            plotPoint(0, 0) + cv::Point(90, 40), kBlack);
  writeText(picture, "share of faces below", plotPoint(0, 1) + cv::Point(0, -12), kBlack);
}

void drawPoints(cv::Mat& cell, const Shape& points, const FaceRect& view, float zoom,
                const cv::Scalar& ink) {
  for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
    const cv::Point2f at((points[i] - view.left) * zoom, (points[i + 1] - view.top) * zoom);
    cv::circle(cell, at, 1, ink, cv::FILLED, cv::LINE_AA);
  }
}

cv::Mat drawFace(const cv::Mat& rgb, const LandmarkFace& face, const MeasuredFace& measured) {
  const FaceRect square = conventionSquare(face.points);
  const float middle_x = 0.5F * (square.left + square.right);
  const float middle_y = 0.5F * (square.top + square.bottom);
  const float half = 0.9F * (square.right - square.left);
  const FaceRect view{middle_x - half, middle_y - half, middle_x + half, middle_y + half};
  const float zoom = kCellSide / (2 * half);
  const cv::Matx23f move(zoom, 0, -view.left * zoom, 0, zoom, -view.top * zoom);
  cv::Mat cell;
  cv::warpAffine(rgb, cell, move, cv::Size(kCellSide, kCellSide));
  cv::cvtColor(cell, cell, cv::COLOR_RGB2BGR);
  const FaceRect& rect = measured.rect;
  cv::rectangle(cell, cv::Point2f((rect.left - view.left) * zoom, (rect.top - view.top) * zoom),
                cv::Point2f((rect.right - view.left) * zoom, (rect.bottom - view.top) * zoom),
                cv::Scalar(0, 220, 255));
  drawPoints(cell, face.points, view, zoom, cv::Scalar(0, 220, 0));
  drawPoints(cell, measured.points, view, zoom, cv::Scalar(0, 0, 255));
  char text[64];
  std::snprintf(text, sizeof text, "%.1f%% %s", 100.0 * measured.error68,
                measured.detected ? "detected" : "convention");
  writeText(cell, text, {4, kCellSide - 6}, cv::Scalar(255, 255, 255));
  return cell;
}

}  // namespace

cv::Mat drawErrorCurves(const std::vector<CurveLine>& lines) {
  cv::Mat picture = kErrorArea.picture();
  drawGrid(picture);
  int legend_y = kErrorArea.margin + kErrorArea.height - 30 * static_cast<int>(lines.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const cv::Scalar& ink = training::inkOf(i);
    std::vector<cv::Point> curve = {plotPoint(0, 0)};
    for (int step = 1; step <= 300; ++step) {
      const double limit = kLastLimit * step / 300;
      curve.push_back(plotPoint(limit, shareUnder(lines[i].faces, limit)));
    }
    training::drawCurve(picture, curve, ink);
    writeText(picture, lines[i].name, {kErrorArea.margin + kErrorArea.width - 200, legend_y}, ink);
    legend_y += 24;
  }
  return picture;
}

cv::Mat drawWorstFaces(const std::string& folder, const std::vector<LandmarkFace>& faces,
                       std::vector<MeasuredFace> measured, int count) {
  constexpr int kColumns = 5;
  std::stable_sort(
      measured.begin(), measured.end(),
      [](const MeasuredFace& a, const MeasuredFace& b) { return a.error68 > b.error68; });
  if (measured.size() > static_cast<std::size_t>(count)) measured.resize(count);
  std::vector<cv::Mat> cells;
  for (const MeasuredFace& one : measured) {
    const LandmarkFace& face = faces[one.face];
    cells.push_back(drawFace(training::readPhotoRgb(folder + "/" + face.image), face, one));
  }
  return training::contactSheet(cells, kColumns, kCellSide);
}

}  // namespace alignment_training
