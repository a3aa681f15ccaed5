// Command line program that sets the quality that the kit gives landmarks against their error on annotated
// faces.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "kit/faces/describe.h"
#include "kit/models/landmark_model.h"
#include "training/alignment/dataset.h"
#include "training/alignment/face_boxes.h"
#include "training/alignment/rectangles.h"
#include "training/alignment/sampler.h"
#include "training/common/photograph.h"
#include "training/common/program.h"

namespace at = alignment_training;

namespace {

struct Arguments {
  std::string data;
  std::string split = "dev";
  std::string model;
  std::string boxes;  // File of boxes; empty for none.
  std::uint64_t seed = 1;
  at::RectNoise noise = at::kMeasuringNoise;
};

struct Measured {
  float quality;
  float error;  // Mean point distance over the outer eye distance.
};

kit::Picture pictureOf(const cv::Mat& rgb) {
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  image.pixels = rgb.data;
  image.width = rgb.cols;
  image.height = rgb.rows;
  image.row_bytes = static_cast<std::ptrdiff_t>(rgb.step[0]);
  return kit::Picture(image);
}

std::vector<Measured> measure(const Arguments& arguments) {
  std::ifstream file(arguments.model, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + arguments.model);
  const std::string bytes((std::istreambuf_iterator<char>(file)), {});
  const auto model = kit::readLandmarkModel(arguments.model, bytes);
  const auto faces = at::readLandmarkFaces(arguments.data, arguments.split);
  at::BoxTable boxes;
  if (!arguments.boxes.empty()) boxes = at::readBoxes(arguments.boxes);
  std::vector<Measured> measured;
  int without_points = 0;
  for (std::size_t i = 0; i < faces.size(); ++i) {
    const cv::Mat rgb = training::readPhotoRgb(arguments.data + "/" + faces[i].image);
    kit::Face face;
    face.rect = at::evaluationRect(boxes[faces[i].image], faces[i], arguments.noise, arguments.seed,
                                   static_cast<int>(i))
                    .rect;
    kit::describeFace(*model, pictureOf(rgb), OZNAKIT_WITH_POINTS_68 | OZNAKIT_WITH_DETAILS, face);
    if (face.points.empty()) {
      ++without_points;
      continue;
    }
    measured.push_back({face.quality, at::normalisedError(face.points, faces[i].points)});
  }
  if (without_points > 0) std::printf("%d faces have no points\n", without_points);
  return measured;
}

double meanError(std::vector<Measured>::const_iterator begin,
                 std::vector<Measured>::const_iterator end) {
  double sum = 0;
  for (auto face = begin; face != end; ++face) sum += face->error;
  return sum / static_cast<double>(end - begin);
}

void report(std::vector<Measured> faces) {
  if (faces.size() < 20) throw std::runtime_error("too few faces for a curve");
  std::sort(faces.begin(), faces.end(),
            [](const Measured& a, const Measured& b) { return a.quality > b.quality; });
  std::printf("tenth   quality from    mean error    above 10%%\n");
  const std::size_t count = faces.size();
  for (std::size_t tenth = 0; tenth < 10; ++tenth) {
    const auto begin = faces.cbegin() + static_cast<std::ptrdiff_t>(count * tenth / 10);
    const auto end = faces.cbegin() + static_cast<std::ptrdiff_t>(count * (tenth + 1) / 10);
    const auto far = std::count_if(begin, end, [](const Measured& f) { return f.error > 0.1F; });
    std::printf("%5zu %13.2f %13.2f%% %11.1f%%\n", tenth + 1, double{std::prev(end)->quality},
                100 * meanError(begin, end),
                100.0 * static_cast<double>(far) / static_cast<double>(end - begin));
  }
  const double all = meanError(faces.cbegin(), faces.cend());
  const auto kept = static_cast<std::ptrdiff_t>(count * 9 / 10);
  const double by_quality = meanError(faces.cbegin(), faces.cbegin() + kept);
  std::sort(faces.begin(), faces.end(),
            [](const Measured& a, const Measured& b) { return a.error < b.error; });
  const double at_best = meanError(faces.cbegin(), faces.cbegin() + kept);
  std::printf(
      "%zu faces: mean error %.3f%%; without the tenth of the lowest quality %.3f%% (%.1f%% less); "
      "without that of the largest error %.3f%%\n",
      count, 100 * all, 100 * by_quality, 100 * (1 - by_quality / all), 100 * at_best);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Sets the quality of 68 landmarks against their error.");
  Arguments arguments;
  app.add_option("data", arguments.data, "Folder with dev.jsonl and the photographs")->required();
  app.add_option("--model", arguments.model, "Model file")->required();
  app.add_option("--split", arguments.split)->capture_default_str();
  app.add_option("--boxes", arguments.boxes, "Boxes of an earlier run of detect_boxes");
  app.add_option("--seed", arguments.seed, "Seed of the jitter")->capture_default_str();
  app.add_option("--centre-noise", arguments.noise.centre, "Jitter of squares by convention")
      ->capture_default_str();
  app.add_option("--size-noise", arguments.noise.size)->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  return training::runProgram("measure_quality", 1, [&] { report(measure(arguments)); });
}
