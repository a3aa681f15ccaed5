/// Drawn faces, which a small training can learn from.

#ifndef OZNA_TESTS_TRAINING_ALIGNMENT_SMALL_TRAINING_H_
#define OZNA_TESTS_TRAINING_ALIGNMENT_SMALL_TRAINING_H_

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <random>
#include <string>
#include <vector>

#include "training/alignment/sampler.h"
#include "training/alignment/shapes.h"

namespace alignment_training {

inline void addPoint(Shape& shape, double x, double y) {
  shape.push_back(static_cast<float>(x));
  shape.push_back(static_cast<float>(y));
}

inline void addEllipse(Shape& shape, cv::Point2d centre, double a, double b, double from, double to,
                       int count) {
  for (int i = 0; i < count; ++i) {
    const double angle = (from + (to - from) * i / (count - 1)) * CV_PI / 180;
    addPoint(shape, centre.x + a * std::cos(angle), centre.y + b * std::sin(angle));
  }
}

inline void addEye(Shape& shape, double centre_x) {
  const double lids[6][2] = {{-0.18, 0}, {-0.07, -0.07}, {0.07, -0.07},
                             {0.18, 0},  {0.07, 0.07},   {-0.07, 0.07}};
  for (const auto& lid : lids) addPoint(shape, centre_x + lid[0], lid[1]);
}

/// A face in units of half its width, middle of the eyes at the origin.
inline Shape templateFace(double mouth_opening) {
  Shape shape;
  addEllipse(shape, {0, 0}, 1.0, 1.25, 180, 0, 17);           // Jaw, over the chin.
  addEllipse(shape, {-0.45, -0.15}, 0.3, 0.15, 180, 360, 5);  // Brows.
  addEllipse(shape, {0.45, -0.15}, 0.3, 0.15, 180, 360, 5);
  for (int i = 0; i < 4; ++i) addPoint(shape, 0, 0.05 + 0.12 * i);  // Nose.
  addEllipse(shape, {0, 0.48}, 0.18, 0.06, 180, 0, 5);
  addEye(shape, -0.45);
  addEye(shape, 0.45);
  const double open = 0.1 + mouth_opening;
  addEllipse(shape, {0, 0.78}, 0.35, open, 180, 360, 7);  // Lips.
  addEllipse(shape, {0, 0.78}, 0.28, open, 30, 150, 5);
  addEllipse(shape, {0, 0.78}, 0.25, 0.5 * open, 180, 360, 5);
  addEllipse(shape, {0, 0.78}, 0.18, 0.5 * open, 30, 150, 3);
  return shape;
}

inline std::vector<cv::Point> polygon(const Shape& shape, int first, int last) {
  std::vector<cv::Point> points;
  for (int i = first; i <= last; ++i) {
    points.emplace_back(cvRound(16 * shape[2 * i]), cvRound(16 * shape[2 * i + 1]));
  }
  return points;
}

inline void fillPart(cv::Mat& picture, const Shape& shape, int first, int last,
                     const cv::Scalar& ink) {
  cv::fillPoly(picture, std::vector<std::vector<cv::Point>>{polygon(shape, first, last)}, ink,
               cv::LINE_AA,
               /*shift=*/4);
}

inline void strokePart(cv::Mat& picture, const Shape& shape, int first, int last,
                       const cv::Scalar& ink) {
  cv::polylines(picture, std::vector<std::vector<cv::Point>>{polygon(shape, first, last)},
                /*isClosed=*/false, ink, 2, cv::LINE_AA, /*shift=*/4);
}

struct DrawnFace {
  cv::Mat picture;
  Shape points;
};

inline DrawnFace drawFace(std::mt19937& random) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  DrawnFace face;
  face.points = templateFace(0.05 + 0.05 * uniform(random));
  const double width = 40 + 8 * uniform(random);
  const double height = width * (1 + 0.1 * uniform(random));
  const double turn = 0.15 * uniform(random);
  const cv::Point2d centre(100 + 10 * uniform(random), 80 + 10 * uniform(random));
  for (int i = 0; i < kLandmarks; ++i) {
    const double x = width * face.points[2 * i];
    const double y = height * face.points[2 * i + 1];
    face.points[2 * i] = static_cast<float>(centre.x + std::cos(turn) * x - std::sin(turn) * y);
    face.points[2 * i + 1] = static_cast<float>(centre.y + std::sin(turn) * x + std::cos(turn) * y);
  }
  const double ground = 90 + 40 * uniform(random);
  face.picture = cv::Mat(200, 200, CV_8UC3, cv::Scalar(ground, ground, ground));
  const cv::Scalar skin(150 + 20 * uniform(random), 170, 210);
  cv::ellipse(face.picture,
              cv::RotatedRect(centre, cv::Size2f(2 * width, 2.5 * height), turn * 180 / CV_PI),
              skin, cv::FILLED, cv::LINE_AA);
  strokePart(face.picture, face.points, 17, 21, cv::Scalar(30, 40, 60));
  strokePart(face.picture, face.points, 22, 26, cv::Scalar(30, 40, 60));
  strokePart(face.picture, face.points, 27, 30, cv::Scalar(110, 130, 170));
  strokePart(face.picture, face.points, 31, 35, cv::Scalar(90, 100, 140));
  fillPart(face.picture, face.points, 36, 41, cv::Scalar(250, 250, 250));
  fillPart(face.picture, face.points, 42, 47, cv::Scalar(250, 250, 250));
  fillPart(face.picture, face.points, 48, 59, cv::Scalar(60, 50, 160));
  fillPart(face.picture, face.points, 60, 67, cv::Scalar(20, 20, 40));
  cv::Mat noise(face.picture.size(), CV_8UC3);
  for (int i = 0; i < 3 * noise.rows * noise.cols; ++i)
    noise.data[i] = static_cast<uchar>(random() % 9);
  face.picture += noise;
  return face;
}

/// Writes a data folder: folder/split.jsonl and its pictures. Every third face counts as tracked.
inline void drawDataset(const std::string& folder, const std::string& split, int count,
                        unsigned seed) {
  std::mt19937 random(seed);
  std::ofstream list(folder + "/" + split + ".jsonl");
  for (int i = 0; i < count; ++i) {
    const DrawnFace face = drawFace(random);
    const std::string name = split + std::to_string(i) + ".png";
    ASSERT_TRUE(cv::imwrite(folder + "/" + name, face.picture));
    nlohmann::json points = nlohmann::json::array();
    for (int k = 0; k < kLandmarks; ++k)
      points.push_back({face.points[2 * k], face.points[2 * k + 1]});
    list << nlohmann::json{{"image", name},
                           {"quality", i % 3 == 2 ? "tracked" : "manual"},
                           {"points", points}}
                .dump()
         << '\n';
  }
}

inline std::string bytesOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline SamplerOptions smallSampler() {
  SamplerOptions options;
  options.face_width = 100;
  options.manual_variants = 2;
  options.tracked_variants = 1;
  return options;
}

}  // namespace alignment_training

#endif  // OZNA_TESTS_TRAINING_ALIGNMENT_SMALL_TRAINING_H_
