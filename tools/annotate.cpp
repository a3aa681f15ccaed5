// Boxes, scores and landmarks as drawings.

#include "tools/annotate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <string>

namespace oznatool {
namespace {

const cv::Scalar kBoxColour(0, 220, 0);  // Red, green, blue.
const cv::Scalar kTextColour(0, 0, 0);
const cv::Scalar kOutlineColour(255, 210, 0);
const cv::Scalar kPointColour(255, 40, 40);
constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;

// A run of landmarks that one line joins.
struct Curve {
  size_t first;
  size_t last;
  bool closed;
};

// Jaw, two brows, bridge and base of the nose, two eyes, outer and inner lips.
constexpr std::array<Curve, 9> kCurves = {{{0, 16, false},
                                           {17, 21, false},
                                           {22, 26, false},
                                           {27, 30, false},
                                           {31, 35, false},
                                           {36, 41, true},
                                           {42, 47, true},
                                           {48, 59, true},
                                           {60, 67, true}}};

int lineWidth(const cv::Mat& pixels) {
  return std::max(1, static_cast<int>(std::lround(std::max(pixels.cols, pixels.rows) / 500.0)));
}

// A coordinate as a pixel, held near the image so that it fits an int: what lies further out is not
// drawn anyway.
int pixelAt(float coordinate, int side) {
  const float margin = 2.0F * static_cast<float>(side);
  return static_cast<int>(std::lround(std::clamp(coordinate, -margin, margin)));
}

// The pixels inside the edges of a face's box; empty for a box without area.
cv::Rect boxPixels(const cv::Mat& pixels, const oznalib::Rectangle<float>& rect) {
  const cv::Point top_left(pixelAt(rect.left, pixels.cols), pixelAt(rect.top, pixels.rows));
  const cv::Point bottom_right(pixelAt(rect.right, pixels.cols), pixelAt(rect.bottom, pixels.rows));
  if (bottom_right.x <= top_left.x || bottom_right.y <= top_left.y) return {};
  return {top_left, bottom_right};
}

// Four filled bars rather than a wide line, which would reach over the edges and have round
// corners.
void drawFrame(cv::Mat& pixels, const cv::Rect& box, int width) {
  const int bar = std::min({width, box.width, box.height});
  for (const cv::Rect& side : {cv::Rect(box.x, box.y, box.width, bar),
                               cv::Rect(box.x, box.y + box.height - bar, box.width, bar),
                               cv::Rect(box.x, box.y, bar, box.height),
                               cv::Rect(box.x + box.width - bar, box.y, bar, box.height)}) {
    cv::rectangle(pixels, side, kBoxColour, cv::FILLED);
  }
}

void drawScore(cv::Mat& pixels, const cv::Rect& box, float score, int width) {
  constexpr double kSmallestScale = 0.35;  // Digits about 8 pixels high.
  constexpr double kShareOfWidth = 0.4;    // A score that is wider hides the eyes.
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), "%.2f", static_cast<double>(score));
  int below_line = 0;
  const cv::Size unit = cv::getTextSize(text.data(), kFont, 1.0, 1, &below_line);
  const double largest_scale = static_cast<double>(box.width - 4 * width) / unit.width;
  const double scale =
      std::max(kSmallestScale, std::min(0.4 * width, kShareOfWidth * largest_scale));
  if (scale > largest_scale) return;

  const int stroke = std::max(1, static_cast<int>(std::lround(scale)));
  const cv::Size size = cv::getTextSize(text.data(), kFont, scale, stroke, &below_line);
  const cv::Rect strip =
      cv::Rect(box.x, box.y, size.width + 4 * width, size.height + 4 * width) & box;
  if (strip.width < size.width + 4 * width || strip.height < size.height + 4 * width) return;
  cv::rectangle(pixels, strip, kBoxColour, cv::FILLED);
  cv::putText(pixels, text.data(), {strip.x + 2 * width, strip.y + 2 * width + size.height}, kFont,
              scale, kTextColour, stroke, cv::LINE_AA);
}

// In pixels; a fixed share of the face, so that the landmarks of an eye can be told apart at every
// size.
float pointRadius(const Face& face) {
  constexpr float kShareOfFace = 0.012F;
  constexpr float kSmallest = 0.6F;
  constexpr float kLargest = 100.0F;
  const float side = std::min(face.rect.right - face.rect.left, face.rect.bottom - face.rect.top);
  return std::clamp(side * kShareOfFace, kSmallest, kLargest);
}

bool isFinite(const std::vector<float>& points, size_t landmark) {
  return std::isfinite(points[2 * landmark]) && std::isfinite(points[2 * landmark + 1]);
}

// Landmarks are drawn to a sixteenth of a pixel, so that those of small faces stay apart.
constexpr int kFractionBits = 4;
constexpr float kFraction = 1 << kFractionBits;

cv::Point landmarkPixel(const cv::Mat& pixels, const std::vector<float>& points, size_t landmark) {
  const auto fixed = [](float coordinate, int side) {
    const float margin = 2.0F * static_cast<float>(side);
    return static_cast<int>(std::lround(std::clamp(coordinate, -margin, margin) * kFraction));
  };
  return {fixed(points[2 * landmark], pixels.cols), fixed(points[2 * landmark + 1], pixels.rows)};
}

void drawOutline(cv::Mat& pixels, const std::vector<float>& points, int width) {
  for (const Curve& curve : kCurves) {
    std::vector<cv::Point> line;
    for (size_t i = curve.first; i <= curve.last; ++i) {
      if (isFinite(points, i)) line.push_back(landmarkPixel(pixels, points, i));
    }
    cv::polylines(pixels, line, curve.closed, kOutlineColour, width, cv::LINE_AA, kFractionBits);
  }
}

void drawPoints(cv::Mat& pixels, const std::vector<float>& points, float radius) {
  for (size_t i = 0; i < points.size() / 2; ++i) {
    if (!isFinite(points, i)) continue;
    cv::circle(pixels, landmarkPixel(pixels, points, i),
               static_cast<int>(std::lround(radius * kFraction)), kPointColour, cv::FILLED,
               cv::LINE_AA, kFractionBits);
  }
}

}  // namespace

void annotate(cv::Mat& pixels, const std::vector<Face>& faces) {
  constexpr size_t kOutlinedLandmarks = 68;
  const int width = lineWidth(pixels);
  for (const Face& face : faces) {
    const cv::Rect box = boxPixels(pixels, face.rect);
    if (!box.empty()) drawFrame(pixels, box, width);
    if (!box.empty() && face.score) drawScore(pixels, box, *face.score, width);
    const float radius = pointRadius(face);
    if (face.points.size() == 2 * kOutlinedLandmarks) {
      drawOutline(pixels, face.points, std::max(1, static_cast<int>(radius)));
    }
    drawPoints(pixels, face.points, radius);
  }
}

}  // namespace oznatool
