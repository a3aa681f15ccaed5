// JSON lines to annotated faces.

#include "training/alignment/dataset.h"

#include <cstddef>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

namespace alignment_training {
namespace {

LandmarkFace parseFace(const std::string& line) {
  const nlohmann::json record = nlohmann::json::parse(line);
  LandmarkFace face;
  face.image = record.at("image").get<std::string>();
  face.manual = record.at("quality").get<std::string>() == "manual";
  for (const auto& point : record.at("points")) {
    face.points.push_back(point.at(0).get<float>());
    face.points.push_back(point.at(1).get<float>());
  }
  if (face.points.size() != kCoordinates) throw std::runtime_error("not 68 points");
  return face;
}

}  // namespace

std::vector<LandmarkFace> readLandmarkFaces(const std::string& folder, const std::string& split) {
  const std::string path = folder + "/" + split + ".jsonl";
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot open " + path);
  std::vector<LandmarkFace> faces;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.empty()) continue;
    try {
      faces.push_back(parseFace(line));
    } catch (const std::exception& error) {
      throw std::runtime_error(path + ":" + std::to_string(number) + ": " + error.what());
    }
  }
  return faces;
}

std::vector<LandmarkFace> holdOut(int n, std::vector<LandmarkFace>& faces) {
  std::vector<LandmarkFace> kept;
  std::vector<LandmarkFace> held;
  for (std::size_t i = 0; i < faces.size(); ++i) {
    (static_cast<int>(i % n) == n - 1 ? held : kept).push_back(std::move(faces[i]));
  }
  faces = std::move(kept);
  return held;
}

}  // namespace alignment_training
