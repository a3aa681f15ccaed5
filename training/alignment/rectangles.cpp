// The square convention, its jitter and the matching of detector boxes.

#include "training/alignment/rectangles.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace alignment_training {

FaceRect conventionSquare(const Shape& points) {
  const Extent extent = extentOf(points);
  const float height = extent.bottom - extent.top;
  const float width = extent.right - extent.left;
  const float half = 0.5F * 1.18F * std::max(height, 0.9F * width);
  const float centre_x = 0.5F * (extent.left + extent.right);
  const float centre_y = extent.bottom - 0.675F * height;
  return {centre_x - half, centre_y - half, centre_x + half, centre_y + half};
}

FaceRect jitterSquare(const FaceRect& square, const RectNoise& noise, std::mt19937_64& random) {
  std::uniform_real_distribution<float> uniform(0.0F, 1.0F);
  std::normal_distribution<float> normal(0.0F, 1.0F);
  const float spread = uniform(random) < noise.wild_share ? 2.0F : 1.0F;
  const float side = square.right - square.left;
  const float shift_x = normal(random) * noise.centre * spread * side;
  const float shift_y = normal(random) * noise.centre * spread * side;
  const float half = 0.5F * side * std::exp(normal(random) * noise.size * spread);
  const float centre_x = 0.5F * (square.left + square.right) + shift_x;
  const float centre_y = 0.5F * (square.top + square.bottom) + shift_y;
  return {centre_x - half, centre_y - half, centre_x + half, centre_y + half};
}

FaceRect mirrorRect(const FaceRect& rect, int photo_width) {
  const float width = static_cast<float>(photo_width);
  return {width - rect.right, rect.top, width - rect.left, rect.bottom};
}

float overlap(const FaceRect& a, const FaceRect& b) {
  const float width = std::min(a.right, b.right) - std::max(a.left, b.left);
  const float height = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
  if (width <= 0 || height <= 0) return 0;
  const float both = width * height;
  const float area_a = (a.right - a.left) * (a.bottom - a.top);
  const float area_b = (b.right - b.left) * (b.bottom - b.top);
  return both / (area_a + area_b - both);
}

BoxTable readBoxes(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot open " + path);
  BoxTable table;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.empty()) continue;
    try {
      const nlohmann::json record = nlohmann::json::parse(line);
      std::vector<FaceRect>& boxes = table[record.at("image").get<std::string>()];
      for (const auto& box : record.at("boxes")) {
        boxes.push_back({box.at(0).get<float>(), box.at(1).get<float>(), box.at(2).get<float>(),
                         box.at(3).get<float>()});
      }
    } catch (const std::exception& error) {
      throw std::runtime_error(path + ":" + std::to_string(number) + ": " + error.what());
    }
  }
  return table;
}

const FaceRect* bestBox(const std::vector<FaceRect>& boxes, const FaceRect& square, float least) {
  const FaceRect* best = nullptr;
  float best_overlap = least;
  for (const FaceRect& box : boxes) {
    const float shared = overlap(box, square);
    if (shared < best_overlap) continue;
    best_overlap = shared;
    best = &box;
  }
  return best;
}

}  // namespace alignment_training
