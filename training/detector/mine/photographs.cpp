// JSON lines and folders to lists of photographs.

#include "training/detector/mine/photographs.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace detector_training {
namespace {

constexpr std::uint32_t kHeldOneIn = 10;

Photograph parsePhotograph(const std::string& folder, const std::string& line) {
  const nlohmann::json record = nlohmann::json::parse(line);
  Photograph photograph;
  photograph.path = folder + "/" + record.at("image").get<std::string>();
  photograph.width = record.at("width").get<int>();
  photograph.height = record.at("height").get<int>();
  for (const auto& face : record.at("faces")) {
    photograph.faces.push_back({face.at("cx").get<double>(), face.at("cy").get<double>(),
                                face.at("side").get<double>(), face.at("ignore").get<bool>()});
  }
  return photograph;
}

// The convention of the annotated squares, which differs from the points' in the origin, too.
FaceSquare squareAround(const nlohmann::json& points) {
  double left = 1e9;
  double top = 1e9;
  double right = -1e9;
  double bottom = -1e9;
  for (const auto& point : points) {
    left = std::min(left, point.at(0).get<double>());
    right = std::max(right, point.at(0).get<double>());
    top = std::min(top, point.at(1).get<double>());
    bottom = std::max(bottom, point.at(1).get<double>());
  }
  const double height = bottom - top;
  FaceSquare face;
  face.cx = 0.5 * (left + right) + 0.5;
  face.cy = bottom - 0.675 * height + 0.5;
  face.side = 1.18 * std::max(height, 0.9 * (right - left));
  return face;
}

Photograph parseLandmarkPhotograph(const std::string& folder, const std::string& line) {
  const nlohmann::json record = nlohmann::json::parse(line);
  Photograph photograph;
  photograph.path = folder + "/" + record.at("image").get<std::string>();
  photograph.width = record.at("width").get<int>();
  photograph.height = record.at("height").get<int>();
  photograph.faces.push_back(squareAround(record.at("points")));
  photograph.background_unknown = true;
  return photograph;
}

using LineParser = Photograph (*)(const std::string& folder, const std::string& line);

std::vector<Photograph> readLines(const std::string& base, const std::string& split,
                                  LineParser parse) {
  const std::string path = base + "/" + split + ".jsonl";
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot open " + path);
  std::vector<Photograph> photographs;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    if (line.empty()) continue;
    try {
      photographs.push_back(parse(base, line));
    } catch (const std::exception& error) {
      throw std::runtime_error(path + ":" + std::to_string(number) + ": " + error.what());
    }
  }
  return photographs;
}

// FNV-1a of the file's name: the same on every machine, whatever the folder.
std::uint32_t nameHash(const std::string& path) {
  std::uint32_t hash = 2166136261U;
  for (const unsigned char byte : std::filesystem::path(path).filename().string()) {
    hash = (hash ^ byte) * 16777619U;
  }
  return hash;
}

}  // namespace

std::vector<Photograph> readPhotographs(const std::string& folder, const std::string& split) {
  return readLines(folder + "/detection", split, parsePhotograph);
}

std::vector<Photograph> readLandmarkPhotographs(const std::string& folder,
                                                const std::string& split) {
  return readLines(folder + "/landmarks", split, parseLandmarkPhotograph);
}

std::vector<Photograph> listNegatives(const std::string& folder) {
  std::vector<Photograph> photographs;
  for (const auto& entry : std::filesystem::directory_iterator(folder + "/negatives")) {
    if (!entry.is_regular_file()) continue;
    Photograph photograph;
    photograph.path = entry.path().string();
    photographs.push_back(photograph);
  }
  std::sort(photographs.begin(), photographs.end(),
            [](const Photograph& a, const Photograph& b) { return a.path < b.path; });
  return photographs;
}

std::vector<Photograph> takePart(const std::vector<Photograph>& photographs, Part part) {
  std::vector<Photograph> kept;
  for (const Photograph& photograph : photographs) {
    const bool held = nameHash(photograph.path) % kHeldOneIn == 0;
    if (part == Part::All || held == (part == Part::Held)) kept.push_back(photograph);
  }
  return kept;
}

}  // namespace detector_training
