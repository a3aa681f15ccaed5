// Boxes, scores and landmarks as drawings.

#include "tools/output/annotate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <string>
#include <utility>

namespace oznatool {
namespace {

const cv::Scalar kBoxColour(0, 220, 0);  // Red, green, blue.
const cv::Scalar kTextColour(0, 0, 0);
const cv::Scalar kOutlineColour(255, 210, 0);
const cv::Scalar kPointColour(255, 60, 60);
const cv::Scalar kRimColour(40, 0, 0);
constexpr int kFont = cv::FONT_HERSHEY_SIMPLEX;

// A run of landmarks that one line joins.
struct Curve {
  std::size_t first;
  std::size_t last;
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

// The width of a box's lines: by the face, but seen on a screen that shows the whole photograph,
// and never so wide that it hides a small face.
int lineWidth(const cv::Mat& pixels, const cv::Rect& box) {
  const double side = std::min(box.width, box.height);
  const double seen = std::max(pixels.cols, pixels.rows) / 1500.0;
  return std::max(1, static_cast<int>(std::lround(std::min(std::max(side / 60, seen), side / 12))));
}

// A coordinate as a pixel, held near the image so that it fits an int: what lies further out is not
// drawn anyway.
int pixelAt(float coordinate, int side) {
  const float margin = 2.0F * static_cast<float>(side);
  return static_cast<int>(std::lround(std::clamp(coordinate, -margin, margin)));
}

// The pixels inside the edges of a face's box; empty for a box without area.
cv::Rect boxPixels(const cv::Mat& pixels, const oznakit::Box& rect) {
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

// Where the strip of a label goes: above its box, or below, or at the top inside it where the
// photograph ends on both sides. Empty where it fits nowhere.
cv::Rect stripFor(const cv::Size& strip, const cv::Rect& box, const cv::Mat& pixels) {
  const cv::Rect whole({}, pixels.size());
  const int x = std::clamp(box.x, 0, std::max(0, pixels.cols - strip.width));
  for (const int y : {box.y - strip.height, box.y + box.height, box.y}) {
    const cv::Rect place({x, y}, strip);
    if ((place & whole) == place) return place;
  }
  return {};
}

void drawScore(cv::Mat& pixels, const cv::Rect& box, float score) {
  constexpr int kSmallestFace = 20;        // Labels of smaller ones hide their neighbours.
  constexpr double kShareOfFace = 0.006;   // Digits about an eighth of the face high.
  constexpr double kSmallestScale = 0.35;  // Digits about 8 pixels high.
  const int side = std::min(box.width, box.height);
  if (side < kSmallestFace) return;
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), "%.2f", static_cast<double>(score));
  const double scale = std::max(kSmallestScale, kShareOfFace * side);
  const int stroke = std::max(1, static_cast<int>(std::lround(1.5 * scale)));
  const int pad = std::max(2, static_cast<int>(std::lround(5 * scale)));
  int below_line = 0;
  const cv::Size size = cv::getTextSize(text.data(), kFont, scale, stroke, &below_line);
  const cv::Rect strip = stripFor({size.width + 2 * pad, size.height + 2 * pad}, box, pixels);
  if (strip.empty()) return;
  cv::rectangle(pixels, strip, kBoxColour, cv::FILLED);
  cv::putText(pixels, text.data(), {strip.x + pad, strip.y + pad + size.height}, kFont, scale,
              kTextColour, stroke, cv::LINE_AA);
}

float sideOf(const Face& face) {
  return std::min(face.rect.right - face.rect.left, face.rect.bottom - face.rect.top);
}

// In pixels; a fixed share of the face, so that the landmarks of an eye can be told apart at every
// size.
float pointRadius(const Face& face) {
  constexpr float kShareOfFace = 0.012F;
  constexpr float kSmallest = 0.6F;  // Seen as a pixel.
  constexpr float kLargest = 100.0F;
  return std::clamp(sideOf(face) * kShareOfFace, kSmallest, kLargest);
}

// Whether there is room for more than bare points: lines and rims of 68 landmarks cover a small
// face whole.
bool hasRoomForLines(const Face& face) {
  constexpr float kLeastSide = 80;
  return sideOf(face) >= kLeastSide;
}

bool isFinite(const std::vector<float>& points, std::size_t landmark) {
  return std::isfinite(points[2 * landmark]) && std::isfinite(points[2 * landmark + 1]);
}

// Landmarks are drawn to a sixteenth of a pixel, so that those of small faces stay apart.
constexpr int kFractionBits = 4;
constexpr float kFraction = 1 << kFractionBits;

cv::Point landmarkPixel(const cv::Mat& pixels, const std::vector<float>& points,
                        std::size_t landmark) {
  const auto fixed = [](float coordinate, int side) {
    const float margin = 2.0F * static_cast<float>(side);
    return static_cast<int>(std::lround(std::clamp(coordinate, -margin, margin) * kFraction));
  };
  return {fixed(points[2 * landmark], pixels.cols), fixed(points[2 * landmark + 1], pixels.rows)};
}

void drawOutline(cv::Mat& pixels, const std::vector<float>& points, int width) {
  for (const Curve& curve : kCurves) {
    std::vector<cv::Point> line;
    for (std::size_t i = curve.first; i <= curve.last; ++i) {
      if (isFinite(points, i)) line.push_back(landmarkPixel(pixels, points, i));
    }
    cv::polylines(pixels, line, curve.closed, kOutlineColour, width, cv::LINE_AA, kFractionBits);
  }
}

void drawPoints(cv::Mat& pixels, const std::vector<float>& points, float radius, bool has_rim) {
  for (std::size_t i = 0; i < points.size() / 2; ++i) {
    if (!isFinite(points, i)) continue;
    // A dark rim, so that they are seen on skin and on white alike.
    for (const auto& [size, colour] :
         {std::pair(1.4F * radius, kRimColour), std::pair(radius, kPointColour)}) {
      if (!has_rim && size > radius) continue;
      cv::circle(pixels, landmarkPixel(pixels, points, i),
                 static_cast<int>(std::lround(size * kFraction)), colour, cv::FILLED, cv::LINE_AA,
                 kFractionBits);
    }
  }
}

}  // namespace

void annotate(cv::Mat& pixels, const std::vector<Face>& faces) {
  constexpr std::size_t kOutlinedLandmarks = 68;
  for (const Face& face : faces) {
    const cv::Rect box = boxPixels(pixels, face.rect);
    if (!box.empty()) drawFrame(pixels, box, lineWidth(pixels, box));
    const float radius = pointRadius(face);
    const bool has_lines = hasRoomForLines(face);
    if (has_lines && face.points.size() == 2 * kOutlinedLandmarks) {
      drawOutline(pixels, face.points, std::max(1, static_cast<int>(radius)));
    }
    drawPoints(pixels, face.points, radius, has_lines);
  }
  // Labels last: the drawings of a neighbour would cross them.
  for (const Face& face : faces) {
    const cv::Rect box = boxPixels(pixels, face.rect);
    if (!box.empty() && face.score) drawScore(pixels, box, *face.score);
  }
}

}  // namespace oznatool
