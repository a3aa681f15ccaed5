// Plain drawing of curves and contact sheets.

#include "training/alignment/charts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>

#include "training/common/photograph.h"

namespace alignment_training {
namespace {

constexpr int kPlotWidth = 600;
constexpr int kPlotHeight = 400;
constexpr int kMargin = 50;
constexpr double kLastLimit = 0.15;
constexpr int kCellSide = 240;
const cv::Scalar kBlack(0, 0, 0);
const cv::Scalar kGrey(210, 210, 210);
const cv::Scalar kInks[] = {{180, 80, 20}, {40, 40, 200}, {60, 150, 40}};

cv::Point plotPoint(double limit, double share) {
  return {kMargin + static_cast<int>(std::lround(limit / kLastLimit * kPlotWidth)),
          kMargin + static_cast<int>(std::lround((1 - share) * kPlotHeight))};
}

void writeText(cv::Mat& picture, const std::string& text, cv::Point at, const cv::Scalar& ink) {
  cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, 0.45, ink, 1, cv::LINE_AA);
}

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
  for (size_t i = 0; i + 1 < points.size(); i += 2) {
    const cv::Point2f at((points[i] - view.left) * zoom, (points[i + 1] - view.top) * zoom);
    cv::circle(cell, at, 1, ink, cv::FILLED, cv::LINE_AA);
  }
}

cv::Mat drawFace(const cv::Mat& rgb, const LandmarkFace& face, const MeasuredFace& measured) {
  const FaceRect square = conventionSquare(face.points);
  const float middleX = 0.5F * (square.left + square.right);
  const float middleY = 0.5F * (square.top + square.bottom);
  const float half = 0.9F * (square.right - square.left);
  const FaceRect view{middleX - half, middleY - half, middleX + half, middleY + half};
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
  cv::Mat picture(kPlotHeight + 2 * kMargin, kPlotWidth + 2 * kMargin, CV_8UC3,
                  cv::Scalar(255, 255, 255));
  drawGrid(picture);
  int legendY = kMargin + kPlotHeight - 30 * static_cast<int>(lines.size());
  for (size_t i = 0; i < lines.size(); ++i) {
    const cv::Scalar& ink = kInks[i % 3];
    cv::Point last = plotPoint(0, 0);
    for (int step = 1; step <= 300; ++step) {
      const double limit = kLastLimit * step / 300;
      const cv::Point next = plotPoint(limit, shareUnder(lines[i].faces, limit));
      cv::line(picture, last, next, ink, 2, cv::LINE_AA);
      last = next;
    }
    writeText(picture, lines[i].name, {kMargin + kPlotWidth - 200, legendY}, ink);
    legendY += 24;
  }
  return picture;
}

cv::Mat drawWorstFaces(const std::string& folder, const std::vector<LandmarkFace>& faces,
                       std::vector<MeasuredFace> measured, int count) {
  std::stable_sort(
      measured.begin(), measured.end(),
      [](const MeasuredFace& a, const MeasuredFace& b) { return a.error68 > b.error68; });
  if (measured.size() > static_cast<size_t>(count)) measured.resize(count);
  constexpr int kColumns = 5;
  const int rows = (static_cast<int>(measured.size()) + kColumns - 1) / kColumns;
  cv::Mat sheet(std::max(rows, 1) * kCellSide, kColumns * kCellSide, CV_8UC3, cv::Scalar(0, 0, 0));
  for (size_t i = 0; i < measured.size(); ++i) {
    const LandmarkFace& face = faces[measured[i].face];
    const cv::Mat cell =
        drawFace(training::readPhotoRgb(folder + "/" + face.image), face, measured[i]);
    const int column = static_cast<int>(i) % kColumns;
    const int row = static_cast<int>(i) / kColumns;
    cell.copyTo(sheet(cv::Rect(column * kCellSide, row * kCellSide, kCellSide, kCellSide)));
  }
  return sheet;
}

}  // namespace alignment_training
