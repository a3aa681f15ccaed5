// Random changes of a whole photograph and of its annotations.

#include "training/detector/mine/views.h"

#include <algorithm>
#include <cmath>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

namespace detector_training {
namespace {

constexpr double kMostDegrees = 30;
constexpr double kShadedShare = 0.25;
constexpr int kLeastSide = 120;  // Pixels of a cut; less would leave the scan little to do.

double uniform(cv::RNG& rng, double from, double to) { return rng.uniform(from, to); }

bool chance(cv::RNG& rng, double share) { return rng.uniform(0.0, 1.0) < share; }

cv::RNG generator(std::uint64_t seed, std::uint64_t stream) {
  cv::RNG rng(seed * 0x9E3779B97F4A7C15ULL + stream);
  for (int i = 0; i < 8; ++i) rng.next();  // Neighbouring seeds begin alike.
  return rng;
}

void mirror(View& view) {
  cv::flip(view.rgb, view.rgb, 1);
  for (FaceSquare& face : view.faces) face.cx = view.rgb.cols - face.cx;
}

void turn(View& view, double degrees) {
  const cv::Point2f middle(0.5F * view.rgb.cols, 0.5F * view.rgb.rows);
  const cv::Mat move = cv::getRotationMatrix2D(middle, degrees, 1);
  cv::Mat turned;
  cv::warpAffine(view.rgb, turned, move, view.rgb.size(), cv::INTER_LINEAR, cv::BORDER_REPLICATE);
  view.rgb = turned;
  const cv::Matx23d m(move.ptr<double>());
  for (FaceSquare& face : view.faces) {
    const cv::Vec2d at = m * cv::Vec3d(face.cx, face.cy, 1);
    face.cx = at[0];
    face.cy = at[1];
  }
}

// Cuts a part that holds one face, chosen among those that count, where it holds any at all. Faces
// that are too small for the scan of the whole come into its reach that way.
void cut(View& view, cv::RNG& rng) {
  const int width = view.rgb.cols;
  const int height = view.rgb.rows;
  std::vector<FaceSquare> counted;
  for (const FaceSquare& face : view.faces) {
    if (!face.ignore) counted.push_back(face);
  }
  const double share = uniform(rng, 0.3, 0.9);
  int cut_width = std::max(std::min(kLeastSide, width), static_cast<int>(share * width));
  int cut_height = std::max(std::min(kLeastSide, height), static_cast<int>(share * height));
  double cx = uniform(rng, 0, width);
  double cy = uniform(rng, 0, height);
  if (!counted.empty()) {
    const FaceSquare& face = counted[rng.uniform(0, static_cast<int>(counted.size()))];
    cut_width = std::min(width, std::max(cut_width, static_cast<int>(1.6 * face.side)));
    cut_height = std::min(height, std::max(cut_height, static_cast<int>(1.6 * face.side)));
    cx = face.cx + uniform(rng, -0.5, 0.5) * std::max(0.0, cut_width - 1.2 * face.side);
    cy = face.cy + uniform(rng, -0.5, 0.5) * std::max(0.0, cut_height - 1.2 * face.side);
  }
  const int left = std::clamp(static_cast<int>(cx - 0.5 * cut_width), 0, width - cut_width);
  const int top = std::clamp(static_cast<int>(cy - 0.5 * cut_height), 0, height - cut_height);
  view.rgb = view.rgb(cv::Rect(left, top, cut_width, cut_height)).clone();
  for (FaceSquare& face : view.faces) {
    face.cx -= left;
    face.cy -= top;
  }
}

void rescale(View& view, double factor) {
  const double fx = std::max(1.0, std::round(view.rgb.cols * factor)) / view.rgb.cols;
  const double fy = std::max(1.0, std::round(view.rgb.rows * factor)) / view.rgb.rows;
  cv::Mat scaled;
  cv::resize(view.rgb, scaled,
             cv::Size(static_cast<int>(std::lround(view.rgb.cols * fx)),
                      static_cast<int>(std::lround(view.rgb.rows * fy))),
             0, 0, factor < 1 ? cv::INTER_AREA : cv::INTER_CUBIC);
  view.rgb = scaled;
  for (FaceSquare& face : view.faces) {
    face.cx *= fx;
    face.cy *= fy;
    face.side *= std::sqrt(fx * fy);
  }
}

void compress(cv::Mat& rgb, int quality) {
  std::vector<std::uint8_t> bytes;
  cv::imencode(".jpg", rgb, bytes, {cv::IMWRITE_JPEG_QUALITY, quality});
  rgb = cv::imdecode(bytes, cv::IMREAD_COLOR);
}

void changeGamma(cv::Mat& rgb, double gamma) {
  cv::Mat table(1, 256, CV_8U);
  for (int i = 0; i < 256; ++i) {
    table.at<std::uint8_t>(i) =
        static_cast<std::uint8_t>(std::lround(255 * std::pow(i / 255.0, gamma)));
  }
  cv::LUT(rgb, table, rgb);
}

// Deep shade or bad light: down to a seventh of the light, of a colour of its own, with the noise
// of a camera that has little of it.
void shade(cv::Mat& rgb, cv::RNG& rng) {
  const double light = std::exp(uniform(rng, std::log(0.15), std::log(0.6)));
  cv::Scalar gain;
  for (int plane = 0; plane < 3; ++plane) gain[plane] = light * std::exp(uniform(rng, -0.2, 0.2));
  cv::multiply(rgb, gain, rgb);
  cv::Mat noise(rgb.size(), CV_16SC3);
  rng.fill(noise, cv::RNG::NORMAL, cv::Scalar::all(0), cv::Scalar::all(uniform(rng, 0.3, 3)));
  cv::Mat noisy;
  cv::add(rgb, noise, noisy, cv::noArray(), CV_8U);
  rgb = noisy;
}

}  // namespace

View makeView(const cv::Mat& rgb, const std::vector<FaceSquare>& faces, int variant,
              std::uint64_t seed) {
  View view{rgb.clone(), faces};
  if (variant == 0) return view;
  cv::RNG rng = generator(seed, static_cast<std::uint64_t>(variant) + 1);
  if (chance(rng, 0.5)) mirror(view);
  if (chance(rng, 0.5)) turn(view, std::clamp(rng.gaussian(12), -kMostDegrees, kMostDegrees));
  if (chance(rng, 0.5)) cut(view, rng);
  if (chance(rng, 0.5)) rescale(view, std::exp(uniform(rng, -0.5, 0.26)));
  if (chance(rng, 0.15)) cv::GaussianBlur(view.rgb, view.rgb, cv::Size(), uniform(rng, 0.5, 1.3));
  if (chance(rng, 0.25)) changeGamma(view.rgb, std::exp(uniform(rng, -0.5, 0.7)));
  if (chance(rng, kShadedShare)) shade(view.rgb, rng);
  if (chance(rng, 0.25)) compress(view.rgb, rng.uniform(30, 80));
  return view;
}

void stepBack(View& view, std::uint64_t seed) {
  if (view.faces.empty()) return;
  cv::RNG rng = generator(seed, 0x57E9);
  const double side = 28 * std::exp(uniform(rng, 0, std::log(120.0 / 28)));
  rescale(view, std::min(1.0, side / view.faces[0].side));
  const int border = static_cast<int>(view.faces[0].side);
  cv::Mat framed;
  cv::copyMakeBorder(view.rgb, framed, border, border, border, border, cv::BORDER_REPLICATE);
  view.rgb = framed;
  for (FaceSquare& face : view.faces) {
    face.cx += border;
    face.cy += border;
  }
}

}  // namespace detector_training
