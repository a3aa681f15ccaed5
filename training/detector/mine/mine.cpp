// Command line program that writes the training windows of one network.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <map>
#include <memory>

#include "detector/model_store.h"
#include "training/common/parallel_for.h"
#include "training/common/photograph.h"
#include "training/common/program.h"
#include "training/detector/mine/miner.h"
#include "training/detector/mine/photographs.h"
#include "training/detector/mine/views.h"
#include "training/detector/mine/window_file.h"

namespace dt = detector_training;

namespace {

struct Arguments {
  std::string data;
  std::string models;
  std::string out;
  dt::Part part = dt::Part::Fit;
  std::string photographs = "all";
  int first_variant = 0;
  int variants = 1;
  int limit = 0;
  int threads = 2;
  dt::MinerOptions miner;
};

std::vector<dt::Photograph> gather(const Arguments& arguments) {
  std::vector<dt::Photograph> list;
  const std::string& which = arguments.photographs;
  if (which == "landmarks") list = dt::readLandmarkPhotographs(arguments.data, "train");
  if (which == "faces" || which == "all") list = dt::readPhotographs(arguments.data, "train");
  if (which == "negatives" || which == "all") {
    for (dt::Photograph& photograph : dt::listNegatives(arguments.data)) {
      list.push_back(std::move(photograph));
    }
  }
  list = dt::takePart(list, arguments.part);
  if (arguments.limit > 0 && list.size() > static_cast<std::size_t>(arguments.limit)) {
    std::vector<dt::Photograph> thinned;
    for (int i = 0; i < arguments.limit; ++i) {
      thinned.push_back(list[i * list.size() / arguments.limit]);
    }
    list = thinned;
  }
  return list;
}

std::vector<dt::Window> mineOne(oznalib::DetectorImpl& detector, const Arguments& arguments,
                                const dt::Photograph& photograph, int index) {
  const cv::Mat rgb = training::readPhotoRgb(photograph.path);
  std::vector<dt::Window> windows;
  for (int i = 0; i < arguments.variants; ++i) {
    const int variant = arguments.first_variant + i;
    dt::MinerOptions options = arguments.miner;
    options.seed = arguments.miner.seed * 1000003 + index * 101 + variant;
    dt::View view = dt::makeView(rgb, photograph.faces, variant, options.seed);
    if (photograph.background_unknown) {
      options.negatives = 0;
      dt::stepBack(view, options.seed);
    }
    for (dt::Window& window : dt::mineView(detector, view, options)) {
      window.label.photograph = static_cast<float>(index);
      window.label.variant = static_cast<float>(variant);
      windows.push_back(std::move(window));
    }
  }
  return windows;
}

void mineAll(const Arguments& arguments) {
  const std::string root = arguments.models + "/";
  std::vector<std::unique_ptr<oznalib::DetectorImpl>> detectors;
  for (int i = 0; i < arguments.threads; ++i) {
    detectors.push_back(std::make_unique<oznalib::DetectorImpl>());
    const char* folder = root.c_str();
    const oznalib::DetectorParams params(folder, "stages.txt");
    if (oznalib::loadFromFiles(params, *detectors.back()) != oznalib::StatusOk) {
      throw std::runtime_error("no cascade in " + arguments.models);
    }
  }
  const std::vector<dt::Photograph> photographs = gather(arguments);
  if (arguments.miner.target >= static_cast<int>(detectors[0]->stages.size())) {
    throw std::runtime_error("no such stage in " + arguments.models);
  }
  dt::WindowFile file(arguments.out, dt::windowSide(*detectors[0], arguments.miner));
  // In batches, so that the order of the file does not depend on the threads and memory is bounded.
  constexpr int kBatch = 32;
  const int count = static_cast<int>(photographs.size());
  for (int start = 0; start < count; start += kBatch) {
    const int size = std::min(kBatch, count - start);
    std::vector<std::vector<dt::Window>> windows(size);
    training::parallelFor(arguments.threads, arguments.threads, [&](int thread) {
      for (int i = thread; i < size; i += arguments.threads) {
        windows[i] = mineOne(*detectors[thread], arguments, photographs[start + i], start + i);
      }
    });
    for (const auto& some : windows) file.append(some);
    std::fprintf(stderr, "\r%d of %d photographs, %lld windows", start + size, count,
                 static_cast<long long>(file.count()));
  }
  std::fprintf(stderr, "\n");
  file.close();
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Cuts training windows for one network of the detector.");
  Arguments arguments;
  const std::map<std::string, int> targets{
      {"first", 0}, {"second", 1}, {"third", 2}, {"fourth", 3}};
  const std::map<std::string, dt::Part> parts{
      {"all", dt::Part::All}, {"fit", dt::Part::Fit}, {"held", dt::Part::Held}};
  dt::MinerOptions& miner = arguments.miner;
  app.add_option("data", arguments.data, "Folder with detection/, negatives/ and landmarks/")
      ->required();
  app.add_option("--models", arguments.models, "Folder with stages.txt and cascades/")->required();
  app.add_option("--out", arguments.out, "Prefix of the files to write")->required();
  app.add_option("--target", miner.target, "Stage to cut windows for: first, second, third, fourth")
      ->transform(CLI::CheckedTransformer(targets))
      ->required();
  app.add_option("--part", arguments.part, "Of the photographs: fit, held or all")
      ->transform(CLI::CheckedTransformer(parts));
  app.add_option("--photographs", arguments.photographs,
                 "faces, negatives, all (both), or landmarks")
      ->check(CLI::IsMember({"faces", "negatives", "all", "landmarks"}))
      ->capture_default_str();
  app.add_option("--first-variant", arguments.first_variant, "0 is the photograph as it is")
      ->capture_default_str();
  app.add_option("--variants", arguments.variants, "Views per photograph")->capture_default_str();
  app.add_option("--limit", arguments.limit, "About so many photographs only");
  app.add_option(
         "--floors", miner.floors,
         "Least scores of the stages before the target, as 0.3,0.5; their thresholds otherwise")
      ->delimiter(',');
  app.add_option("--side", miner.side,
                 "Of the windows in pixels; that of the stage's input otherwise");
  app.add_flag("--score", miner.score_target, "Judge windows by their network; keep the hardest");
  app.add_option("--keep-above", miner.keep_above, "Drop negatives that score less")
      ->capture_default_str();
  app.add_option("--negatives", miner.negatives, "Most negatives per view")->capture_default_str();
  app.add_option("--jittered", miner.jittered, "Further boxes around each face")
      ->capture_default_str();
  app.add_option("--seed", miner.seed)->capture_default_str();
  app.add_option("--threads", arguments.threads)->check(CLI::PositiveNumber)->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  return training::runProgram("mine_windows", 1, [&] { mineAll(arguments); });
}
