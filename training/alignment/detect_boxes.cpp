// Command line program that runs the detector over a landmark data folder and writes the boxes as
// JSON lines, for training on them.

#include <CLI/CLI.hpp>
#include <cstddef>
#include <fstream>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "training/alignment/dataset.h"
#include "training/alignment/face_boxes.h"
#include "training/common/parallel_for.h"
#include "training/common/photograph.h"
#include "training/common/program.h"

namespace at = alignment_training;

namespace {

std::string boxLine(const std::string& image, const std::vector<at::FaceRect>& boxes) {
  nlohmann::json list = nlohmann::json::array();
  for (const at::FaceRect& box : boxes) list.push_back({box.left, box.top, box.right, box.bottom});
  return nlohmann::json{{"image", image}, {"boxes", list}}.dump();
}

void detectAll(const std::string& data, const std::string& models, const std::string& out,
               int threads) {
  std::vector<at::LandmarkFace> faces = at::readLandmarkFaces(data, "train");
  for (at::LandmarkFace& face : at::readLandmarkFaces(data, "dev"))
    faces.push_back(std::move(face));
  std::vector<std::string> lines(faces.size());
  std::vector<int> found(threads);
  // One cascade per thread, since a detector writes into its networks.
  training::parallelFor(threads, threads, [&](int thread) {
    at::BoxFinder finder(models);
    for (std::size_t i = thread; i < faces.size(); i += threads) {
      const auto boxes = finder.find(training::readPhotoRgb(data + "/" + faces[i].image));
      lines[i] = boxLine(faces[i].image, boxes);
      const at::FaceRect square = at::conventionSquare(faces[i].points);
      found[thread] += at::bestBox(boxes, square, at::kLeastOverlap) != nullptr ? 1 : 0;
    }
  });
  std::ofstream file(out);
  for (const std::string& line : lines) file << line << '\n';
  file.close();
  if (!file) throw std::runtime_error("cannot write " + out);
  int sum = 0;
  for (const int count : found) sum += count;
  std::cout << sum << " of " << faces.size() << " faces found" << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Finds the faces of a landmark data folder.");
  std::string data;
  std::string models;
  std::string out;
  int threads = 2;
  app.add_option("data", data, "Folder with train.jsonl, dev.jsonl and the photographs")
      ->required();
  app.add_option("--models", models, "Folder with stages.txt and cascades/")->required();
  app.add_option("--out", out, "File to write")->required();
  app.add_option("--threads", threads)->check(CLI::PositiveNumber)->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  return training::runProgram("detect_boxes", 1, [&] { detectAll(data, models, out, threads); });
}
