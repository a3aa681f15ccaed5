// Plain drawing of curves and contact sheets.

#include "training/detector/mine/charts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>

#include "training/common/photograph.h"

namespace detector_training {
namespace {

constexpr int kPlotWidth = 600;
constexpr int kPlotHeight = 400;
constexpr int kMargin = 50;
constexpr double kFirstRate = 0.01;
constexpr double kLowestRecall = 0.5;
constexpr int kCellSide = 160;
constexpr int kColumns = 8;
const cv::Scalar kBlack(0, 0, 0);
const cv::Scalar kGrey(210, 210, 210);
const cv::Scalar kInks[] = {{180, 80, 20}, {40, 40, 200}, {60, 150, 40}};

cv::Point plotPoint(double rate, double recall) {
  const double right = std::log10(std::max(rate, kFirstRate) / kFirstRate) / 2;
  const double up = (recall - kLowestRecall) / (1 - kLowestRecall);
  return {kMargin + static_cast<int>(std::lround(right * kPlotWidth)),
          kMargin + static_cast<int>(std::lround((1 - std::clamp(up, 0.0, 1.0)) * kPlotHeight))};
}

void writeText(cv::Mat& picture, const std::string& text, cv::Point at, const cv::Scalar& ink) {
  cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, 0.45, ink, 1, cv::LINE_AA);
}

void drawGrid(cv::Mat& picture) {
  for (const double rate : {0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1.0}) {
    char text[16];
    std::snprintf(text, sizeof text, "%g", rate);
    const cv::Point foot = plotPoint(rate, kLowestRecall);
    cv::line(picture, foot, plotPoint(rate, 1), rate == kFirstRate ? kBlack : kGrey);
    writeText(picture, text, foot + cv::Point(-10, 18), kBlack);
  }
  for (int tenth = 5; tenth <= 10; ++tenth) {
    const cv::Point start = plotPoint(kFirstRate, tenth / 10.0);
    cv::line(picture, start, plotPoint(1, tenth / 10.0), tenth == 5 ? kBlack : kGrey);
    writeText(picture, std::to_string(10 * tenth) + "%", start + cv::Point(-44, 5), kBlack);
  }
  writeText(picture, "false positives a photograph",
            plotPoint(kFirstRate, kLowestRecall) + cv::Point(200, 40), kBlack);
  writeText(picture, "share of faces found", plotPoint(kFirstRate, 1) + cv::Point(0, -12), kBlack);
}

// The surroundings of a square, two and a half times as wide, with the square drawn in.
cv::Mat drawCell(const Photograph& photograph, double cx, double cy, double side, float score) {
  cv::Mat picture = training::readPhotoRgb(photograph.path);
  cv::cvtColor(picture, picture, cv::COLOR_RGB2BGR);
  const double zoom = kCellSide / (2.5 * side);
  const cv::Matx23d move(zoom, 0, 0.5 * kCellSide - zoom * cx, 0, zoom,
                         0.5 * kCellSide - zoom * cy);
  cv::Mat cell;
  cv::warpAffine(picture, cell, move, cv::Size(kCellSide, kCellSide));
  const int half = static_cast<int>(0.5 * side * zoom);
  const cv::Rect square(kCellSide / 2 - half, kCellSide / 2 - half, 2 * half, 2 * half);
  cv::rectangle(cell, square, cv::Scalar(0, 220, 255));
  char text[32];
  std::snprintf(text, sizeof text, "%.3f %.0fpx", score, side);
  writeText(cell, text, {4, kCellSide - 6}, cv::Scalar(255, 255, 255));
  return cell;
}

cv::Mat arrange(const std::vector<cv::Mat>& cells) {
  const int rows = std::max(1, (static_cast<int>(cells.size()) + kColumns - 1) / kColumns);
  cv::Mat sheet(rows * kCellSide, kColumns * kCellSide, CV_8UC3, kBlack);
  for (size_t i = 0; i < cells.size(); ++i) {
    const int column = static_cast<int>(i) % kColumns;
    const int row = static_cast<int>(i) / kColumns;
    cells[i].copyTo(sheet(cv::Rect(column * kCellSide, row * kCellSide, kCellSide, kCellSide)));
  }
  return sheet;
}

}  // namespace

cv::Mat drawRecallCurves(const std::vector<Measurement>& measurements) {
  cv::Mat picture(kPlotHeight + 2 * kMargin, kPlotWidth + 2 * kMargin, CV_8UC3,
                  cv::Scalar(255, 255, 255));
  drawGrid(picture);
  int legendY = kMargin + kPlotHeight - 24 * static_cast<int>(measurements.size());
  for (size_t i = 0; i < measurements.size(); ++i) {
    const cv::Scalar& ink = kInks[i % 3];
    cv::Point last = plotPoint(kFirstRate, atWrongEach(measurements[i], kFirstRate).recall);
    for (int step = 1; step <= 200; ++step) {
      const double rate = kFirstRate * std::pow(10.0, 2.0 * step / 200);
      const cv::Point next = plotPoint(rate, atWrongEach(measurements[i], rate).recall);
      cv::line(picture, last, next, ink, 2, cv::LINE_AA);
      last = next;
    }
    const OperatingPoint built_in = atThreshold(measurements[i], measurements[i].threshold);
    cv::circle(picture, plotPoint(built_in.wrongEach, built_in.recall), 5, ink, cv::FILLED,
               cv::LINE_AA);
    writeText(picture, measurements[i].name, {kMargin + kPlotWidth - 260, legendY}, ink);
    legendY += 24;
  }
  return picture;
}

cv::Mat drawReliability(const std::vector<Measurement>& measurements) {
  constexpr int kSide = 400;
  cv::Mat picture(kSide + 2 * kMargin, kSide + 2 * kMargin, CV_8UC3, cv::Scalar(255, 255, 255));
  const auto at = [](double score, double share) {
    return cv::Point(kMargin + static_cast<int>(std::lround(score * kSide)),
                     kMargin + static_cast<int>(std::lround((1 - share) * kSide)));
  };
  for (int tenth = 0; tenth <= 10; ++tenth) {
    const double value = tenth / 10.0;
    char text[16];
    std::snprintf(text, sizeof text, "%g", value);
    cv::line(picture, at(value, 0), at(value, 1), tenth == 0 ? kBlack : kGrey);
    cv::line(picture, at(0, value), at(1, value), tenth == 0 ? kBlack : kGrey);
    writeText(picture, text, at(value, 0) + cv::Point(-10, 18), kBlack);
    writeText(picture, text, at(0, value) + cv::Point(-34, 5), kBlack);
  }
  cv::line(picture, at(0, 0), at(1, 1), kBlack, 1, cv::LINE_AA);
  writeText(picture, "score", at(0.45, 0) + cv::Point(0, 40), kBlack);
  writeText(picture, "share of faces", at(0, 1) + cv::Point(0, -12), kBlack);
  for (size_t i = 0; i < measurements.size(); ++i) {
    const cv::Scalar& ink = kInks[i % 3];
    cv::Point last(-1, -1);
    for (int tenth = 0; tenth < 10; ++tenth) {
      const Reliability bin = reliabilityOf(measurements[i], static_cast<float>(tenth) / 10,
                                            static_cast<float>(tenth + 1) / 10);
      if (bin.boxes == 0) continue;
      const cv::Point next = at(bin.meanScore, bin.share);
      if (last.x >= 0) cv::line(picture, last, next, ink, 2, cv::LINE_AA);
      cv::circle(picture, next, bin.boxes < 20 ? 3 : 6, ink, cv::FILLED, cv::LINE_AA);
      last = next;
    }
    writeText(picture, measurements[i].name, at(0.6, 0.1 + 0.06 * static_cast<double>(i)), ink);
  }
  return picture;
}

cv::Mat drawMisses(const Measurement& measurement, const std::vector<Photograph>& photographs,
                   int count) {
  std::vector<cv::Mat> cells;
  for (const FaceResult& face : measurement.faces) {
    if (face.score > measurement.threshold) continue;
    if (static_cast<int>(cells.size()) == count) break;
    cells.push_back(drawCell(photographs[face.photograph], face.face.cx, face.face.cy,
                             face.face.side, face.score));
  }
  return arrange(cells);
}

cv::Mat drawWrong(const Measurement& measurement, const std::vector<Photograph>& photographs,
                  int count) {
  std::vector<cv::Mat> cells;
  for (const WrongBox& wrong : measurement.wrong) {
    if (static_cast<int>(cells.size()) == count) break;
    cells.push_back(drawCell(photographs[wrong.photograph], wrong.box.x + 0.5 * wrong.box.width,
                             wrong.box.y + 0.5 * wrong.box.height, wrong.box.width,
                             wrong.box.score));
  }
  return arrange(cells);
}

}  // namespace detector_training
