// Command line program that trains the landmark model.

#include <CLI/CLI.hpp>
#include <cstddef>
#include <iostream>
#include <memory>

#include "training/alignment/dataset.h"
#include "training/alignment/model_trainer.h"
#include "training/alignment/model_writer.h"
#include "training/alignment/sampler.h"
#include "training/common/program.h"

namespace at = alignment_training;

namespace {

struct Arguments {
  std::string data;
  std::string out;
  std::string boxes;
  int limit = 0;     // Every n-th face so that about so many remain; 0 for all.
  int hold_out = 0;  // Every n-th face is measured and not learnt from; 0 for dev.jsonl instead.
  at::SamplerOptions sampler;
  at::ModelOptions model;
};

void declareOptions(CLI::App& app, Arguments& arguments) {
  at::SamplerOptions& sampler = arguments.sampler;
  at::ModelOptions& model = arguments.model;
  app.add_option("data", arguments.data, "Folder with train.jsonl, dev.jsonl and the photographs")
      ->required();
  app.add_option("--out", arguments.out, "Model file to write")->required();
  app.add_option("--boxes", arguments.boxes, "Detector boxes, as detect_boxes writes them");
  app.add_option("--limit", arguments.limit, "Train on about so many faces only");
  app.add_option("--hold-out", arguments.hold_out,
                 "Measure on every n-th face of train.jsonl in place of dev.jsonl, and learn from "
                 "the others")
      ->check(CLI::Range(2, 1000));
  app.add_option("--seed", model.seed, "Seed of all random choices")->capture_default_str();
  app.add_option("--threads", model.stage.threads, "Threads")->capture_default_str();
  app.add_option("--checkpoints", model.checkpoint_folder,
                 "Existing folder to save in, and to continue from");
  app.add_option("--stage-levels", model.stage_levels, "Pyramid level of each stage")
      ->delimiter(',')
      ->capture_default_str();
  app.add_option("--levels-per-octave", model.levels_per_octave)->capture_default_str();
  app.add_option("--face-width", model.face_width, "Width of the scaled face box in pixels")
      ->capture_default_str();
  app.add_option("--starts", model.starts_per_sample,
                 "Of the nine starting shapes, so many per sample")
      ->check(CLI::Range(1, at::kStarts))
      ->capture_default_str();
  app.add_option("--ridges", model.stage.ridges, "Candidates, in units of the mean diagonal")
      ->delimiter(',')
      ->capture_default_str();
  app.add_option("--error-knees", model.error_knees,
                 "For each stage: an error at which a row counts half; 0: all rows count alike")
      ->delimiter(',')
      ->capture_default_str();
  app.add_option(
         "--reaches", model.reaches,
         "For each stage: the distance, in those of the outer eye corners, from which on the ridge "
         "weighs more on a landmark's descriptor; 0: it weighs on all alike")
      ->delimiter(',')
      ->capture_default_str();
  app.add_option("--folds", model.stage.folds)->check(CLI::PositiveNumber)->capture_default_str();
  app.add_option("--manual-weight", model.stage.manual_weight)->capture_default_str();
  app.add_option("--manual-variants", sampler.manual_variants)->capture_default_str();
  app.add_option("--tracked-variants", sampler.tracked_variants)->capture_default_str();
  app.add_option("--centre-noise", sampler.noise.centre, "In sides of the square")
      ->capture_default_str();
  app.add_option("--size-noise", sampler.noise.size, "Of the logarithm")->capture_default_str();
  app.add_option("--wild-share", sampler.noise.wild_share, "Share with twice the noise")
      ->capture_default_str();
  app.add_option("--box-share", sampler.box_share, "Share from detector boxes")
      ->capture_default_str();
  app.add_option("--rotation", sampler.rotation_degrees, "Standard deviation, in degrees")
      ->capture_default_str();
  app.add_option("--rotated-share", sampler.rotated_share)->capture_default_str();
  app.add_option("--cropped-share", sampler.cropped_share, "Share cut close to the face")
      ->capture_default_str();
}

std::vector<at::LandmarkFace> thin(const std::vector<at::LandmarkFace>& faces, int limit) {
  if (limit <= 0 || static_cast<std::size_t>(limit) >= faces.size()) return faces;
  std::vector<at::LandmarkFace> kept;
  for (int i = 0; i < limit; ++i) kept.push_back(faces[i * faces.size() / limit]);
  return kept;
}

void train(Arguments& arguments) {
  at::SamplerOptions& sampler = arguments.sampler;
  sampler.seed = arguments.model.seed;
  sampler.face_width = arguments.model.face_width;
  const int threads = arguments.model.stage.threads;
  const at::BoxTable boxes =
      arguments.boxes.empty() ? at::BoxTable() : at::readBoxes(arguments.boxes);
  auto faces = thin(at::readLandmarkFaces(arguments.data, "train"), arguments.limit);
  const auto dev_faces = arguments.hold_out > 0 ? at::holdOut(arguments.hold_out, faces)
                                                : at::readLandmarkFaces(arguments.data, "dev");
  const auto samples = at::makeTrainingSamples(arguments.data, faces, boxes, sampler, threads);
  const auto dev = at::makeMeasuringSamples(arguments.data, dev_faces, boxes, at::kMeasuringNoise,
                                            sampler.face_width, /*seed=*/1, threads);
  const at::TrainedModel trained = at::trainModel(samples, dev, arguments.model, std::cout);
  at::writeModel(trained.model, arguments.out);
  std::cout << "wrote " << arguments.out << std::endl;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Trains the model that places 68 landmarks.");
  Arguments arguments;
  declareOptions(app, arguments);
  CLI11_PARSE(app, argc, argv);
  return training::runProgram("train_alignment", arguments.model.stage.threads,
                              [&] { train(arguments); });
}
