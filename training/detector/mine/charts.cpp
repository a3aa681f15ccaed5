// Plain drawing of curves and contact sheets.

#include "training/detector/mine/charts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <opencv2/imgproc.hpp>

#include "training/common/drawing.h"
#include "training/common/photograph.h"

namespace detector_training {
namespace {

using training::kBlack;
using training::kGrey;
using training::PlotArea;
using training::writeText;

constexpr double kFirstRate = 0.01;
constexpr double kLowestRecall = 0.5;
constexpr int kCellSide = 160;
constexpr int kColumns = 8;
constexpr PlotArea kRecallArea{};

cv::Point plotPoint(double rate, double recall) {
  const double right = std::log10(std::max(rate, kFirstRate) / kFirstRate) / 2;
  const double up = (recall - kLowestRecall) / (1 - kLowestRecall);
  return kRecallArea.at(right, std::clamp(up, 0.0, 1.0));
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
  writeText(picture, "false positives per photograph",
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

}  // namespace

cv::Mat drawRecallCurves(const std::vector<Measurement>& measurements) {
  cv::Mat picture = kRecallArea.picture();
  drawGrid(picture);
  int legend_y =
      kRecallArea.margin + kRecallArea.height - 24 * static_cast<int>(measurements.size());
  for (std::size_t i = 0; i < measurements.size(); ++i) {
    const cv::Scalar& ink = training::inkOf(i);
    std::vector<cv::Point> curve;
    for (int step = 0; step <= 200; ++step) {
      const double rate = kFirstRate * std::pow(10.0, 2.0 * step / 200);
      curve.push_back(plotPoint(rate, atWrongEach(measurements[i], rate).recall));
    }
    training::drawCurve(picture, curve, ink);
    const OperatingPoint built_in = atThreshold(measurements[i], measurements[i].threshold);
    cv::circle(picture, plotPoint(built_in.wrong_each, built_in.recall), 5, ink, cv::FILLED,
               cv::LINE_AA);
    writeText(picture, measurements[i].name,
              {kRecallArea.margin + kRecallArea.width - 260, legend_y}, ink);
    legend_y += 24;
  }
  return picture;
}

cv::Mat drawReliability(const std::vector<Measurement>& measurements) {
  constexpr PlotArea kArea{/*width=*/400, /*height=*/400};
  cv::Mat picture = kArea.picture();
  const auto at = [&](double score, double share) { return kArea.at(score, share); };
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
  for (std::size_t i = 0; i < measurements.size(); ++i) {
    const cv::Scalar& ink = training::inkOf(i);
    std::vector<cv::Point> curve;
    std::vector<int> radii;
    for (int tenth = 0; tenth < 10; ++tenth) {
      const Reliability bin = reliabilityOf(measurements[i], static_cast<float>(tenth) / 10,
                                            static_cast<float>(tenth + 1) / 10);
      if (bin.boxes == 0) continue;
      curve.push_back(at(bin.mean_score, bin.share));
      radii.push_back(bin.boxes < 20 ? 3 : 6);
    }
    training::drawCurve(picture, curve, ink);
    for (std::size_t dot = 0; dot < curve.size(); ++dot) {
      cv::circle(picture, curve[dot], radii[dot], ink, cv::FILLED, cv::LINE_AA);
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
  return training::contactSheet(cells, kColumns, kCellSide);
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
  return training::contactSheet(cells, kColumns, kCellSide);
}

}  // namespace detector_training
