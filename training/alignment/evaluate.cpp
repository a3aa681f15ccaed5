// Command line program that measures a landmark model on annotated faces.

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdio>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>

#include "training/alignment/charts.h"
#include "training/alignment/dataset.h"
#include "training/alignment/evaluation.h"
#include "training/alignment/face_boxes.h"
#include "training/common/photograph.h"
#include "training/common/program.h"

namespace at = alignment_training;

namespace {

struct Arguments {
  std::string data;
  std::string split = "dev";
  std::string model;
  std::string models;  // Folder of the detector; empty for none.
  std::string boxes;   // File of boxes; empty for none.
  std::string curve;
  std::string worst;
  int worst_count = 30;
  std::uint64_t seed = 1;
  int threads = 2;
  at::RectNoise noise = at::kMeasuringNoise;
};

void printSummary(const char* name, const at::ErrorSummary& summary) {
  std::printf("%-8s %5d %9d %8.3f%% %8.3f%% %8.3f%% %8.2f%% %8.2f%%\n", name, summary.faces,
              summary.detected, 100 * summary.mean68, 100 * summary.median68, 100 * summary.mean5,
              100 * summary.under8, 100 * summary.under10);
}

/// Of all faces, and of those by hand by how far they look aside.
void printSummaries(const std::string& split, const std::vector<at::MeasuredFace>& measured) {
  std::printf(
      "errors as shares of the distance of the outer eye corners\n%-8s %5s %9s %9s %9s %9s "
      "%9s %9s\n",
      split.c_str(), "faces", "detected", "mean 68", "median 68", "mean 5", "< 8%", "< 10%");
  const auto manual = at::onlyQuality(measured, /*manual=*/true);
  printSummary("manual", at::summarise(manual));
  printSummary("tracked", at::summarise(at::onlyQuality(measured, /*manual=*/false)));
  printSummary("all", at::summarise(measured));
  std::printf("manual, by the yaw of an average head in the pose of the true points\n");
  printSummary("0 to 15", at::summarise(at::onlyYaw(manual, 0, 15)));
  printSummary("15 to 30", at::summarise(at::onlyYaw(manual, 15, 30)));
  printSummary("30 up", at::summarise(at::onlyYaw(manual, 30, 91)));
}

void printCurve(const std::vector<at::CurveLine>& lines) {
  std::printf("\nshare of faces below an error\n%-8s", "error");
  for (const at::CurveLine& line : lines) std::printf(" %10s", line.name.c_str());
  std::printf("\n");
  for (int half_percent = 2; half_percent <= 30; ++half_percent) {
    std::printf("%6.1f%% ", 0.5 * half_percent);
    for (const at::CurveLine& line : lines) {
      std::printf(" %9.2f%%", 100 * at::shareUnder(line.faces, 0.005 * half_percent));
    }
    std::printf("\n");
  }
}

void save(const std::string& path, const cv::Mat& picture) {
  if (!cv::imwrite(path, picture)) throw std::runtime_error("cannot write " + path);
}

at::BoxTable boxesFor(const Arguments& arguments, const std::vector<at::LandmarkFace>& faces) {
  if (!arguments.boxes.empty()) return at::readBoxes(arguments.boxes);
  at::BoxTable table;
  if (arguments.models.empty()) return table;
  at::BoxFinder finder(arguments.models);
  for (const at::LandmarkFace& face : faces) {
    table[face.image] = finder.find(training::readPhotoRgb(arguments.data + "/" + face.image));
  }
  return table;
}

void loadModel(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash);
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (oznalib::loadSDMModel(folder, name) != oznalib::StatusOk) {
    throw std::runtime_error("cannot read " + path);
  }
}

void evaluate(const Arguments& arguments) {
  loadModel(arguments.model);
  const auto faces = at::readLandmarkFaces(arguments.data, arguments.split);
  const at::BoxTable boxes = boxesFor(arguments, faces);
  const auto measure = [&](const at::BoxTable& table) {
    return at::measureFaces(arguments.data, faces, table, arguments.noise, arguments.seed,
                            arguments.threads);
  };
  const auto measured = measure(boxes);
  const auto manual = at::onlyQuality(measured, /*manual=*/true);
  const auto tracked = at::onlyQuality(measured, /*manual=*/false);
  printSummaries(arguments.split, measured);
  if (!boxes.empty()) {
    std::printf("\nfrom true squares, moved by %g and scaled by %g of their sides\n",
                arguments.noise.centre, arguments.noise.size);
    printSummaries(arguments.split, measure({}));
  }
  const std::vector<at::CurveLine> lines{{"manual", manual}, {"tracked", tracked}};
  printCurve(lines);
  if (!arguments.curve.empty()) save(arguments.curve, at::drawErrorCurves(lines));
  if (!arguments.worst.empty()) {
    save(arguments.worst,
         at::drawWorstFaces(arguments.data, faces, measured, arguments.worst_count));
  }
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Measures a model that places 68 landmarks.");
  Arguments arguments;
  app.add_option("data", arguments.data, "Folder with dev.jsonl and the photographs")->required();
  app.add_option("--model", arguments.model, "Model file")->required();
  app.add_option("--split", arguments.split)->capture_default_str();
  app.add_option("--models", arguments.models,
                 "Folder with stages.txt and cascades/: rectangles "
                 "from the detector where it finds the face");
  app.add_option("--boxes", arguments.boxes, "Boxes of an earlier run of detect_boxes instead");
  app.add_option("--curve", arguments.curve, "Picture of the cumulative curve to write");
  app.add_option("--worst", arguments.worst, "Picture of the worst faces to write");
  app.add_option("--worst-count", arguments.worst_count)->capture_default_str();
  app.add_option("--seed", arguments.seed, "Seed of the jitter")->capture_default_str();
  app.add_option("--centre-noise", arguments.noise.centre, "Jitter of squares by convention")
      ->capture_default_str();
  app.add_option("--size-noise", arguments.noise.size)->capture_default_str();
  app.add_option("--threads", arguments.threads)->check(CLI::PositiveNumber)->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  return training::runProgram("evaluate_alignment", 1, [&] { evaluate(arguments); });
}
