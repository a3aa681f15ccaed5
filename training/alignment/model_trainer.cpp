// The loop over stages: describe, solve, move, measure, save.

#include "training/alignment/model_trainer.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <stdexcept>

#include "training/alignment/model_writer.h"

namespace alignment_training {
namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

oznalib::SDMModel emptyModel(const ModelOptions& options, const Shape& mean_shape) {
  oznalib::SDMModel model;
  model.stageLevels.assign(options.stage_levels.begin(), options.stage_levels.end());
  model.levelsPerOctave = options.levels_per_octave;
  model.faceWidth = options.face_width;
  model.reservedFlag = 1;
  model.meanShape = mean_shape;
  model.auxMatrices.resize(1);  // Without any, the library leaves the bias out.
  return model;
}

std::string stagePath(const std::string& folder, std::size_t stages) {
  return folder + "/stage-" + std::to_string(stages) + ".sdm";
}

/// Shapes of all rows after some stages, as raw floats behind the numbers of stages and of floats.
void saveShapes(const std::string& path, std::uint64_t stages, const std::vector<float>& shapes) {
  const std::uint64_t header[2] = {stages, shapes.size()};
  std::ofstream out(path + ".part", std::ios::binary);
  out.write(reinterpret_cast<const char*>(header), sizeof header);
  out.write(reinterpret_cast<const char*>(shapes.data()),
            static_cast<std::streamsize>(shapes.size() * sizeof(float)));
  out.close();
  if (!out || std::rename((path + ".part").c_str(), path.c_str()) != 0) {
    throw std::runtime_error("cannot write " + path);
  }
}

/// Returns the number of stages behind the shapes; 0, with the shapes untouched, without a file.
std::size_t loadShapes(const std::string& path, std::vector<float>& shapes) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return 0;
  std::uint64_t header[2] = {0, 0};
  in.read(reinterpret_cast<char*>(header), sizeof header);
  if (!in || header[1] != shapes.size()) {
    throw std::runtime_error(path + " belongs to another training");
  }
  in.read(reinterpret_cast<char*>(shapes.data()),
          static_cast<std::streamsize>(shapes.size() * sizeof(float)));
  if (!in) throw std::runtime_error(path + " is cut short");
  return header[0];
}

/// The stages of the model in the file, through the library's reader.
std::vector<TrainedStage> loadStages(const std::string& path, std::size_t count) {
  const std::size_t slash = path.rfind('/');
  if (oznalib::loadModelSlot(path.substr(0, slash), path.substr(slash + 1)) != oznalib::StatusOk) {
    throw std::runtime_error("cannot read " + path);
  }
  const oznalib::SDMModel& model = *oznalib::globalSDMModel();
  if (model.stageMaps.size() != count) throw std::runtime_error(path + " has other stages");
  std::vector<TrainedStage> stages;
  for (std::size_t i = 0; i < count; ++i) {
    stages.push_back({model.stageMaps[i], model.stageBias[i], /*ridge=*/0});
  }
  oznalib::unloadModelSlot();
  return stages;
}

/// Errors of the medians of some faces; 0 without faces.
struct MedianErrors {
  double mean = 0;
  double under_tenth = 0;  // Share of the faces.
};

MedianErrors medianErrors(const std::vector<AlignmentSample>& samples, const RegressionRows& rows,
                          bool manual) {
  double sum = 0;
  int count = 0;
  int under = 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (samples[i].manual != manual) continue;
    const Shape median = medianShape(rows, static_cast<int>(i));
    const float error = shapeError(samples[i], median.data(), rows.truth(rows.first_row[i]));
    sum += error;
    under += error < 0.1F ? 1 : 0;
    ++count;
  }
  if (count == 0) return {};
  return {sum / count, static_cast<double>(under) / count};
}

/// The training of one model.
class ModelTrainer {
 public:
  ModelTrainer(const std::vector<AlignmentSample>& train, const std::vector<AlignmentSample>& dev,
               const ModelOptions& options, std::ostream& log)
      : train_(train),
        dev_(dev),
        options_(options),
        log_(log),
        model_(emptyModel(options, meanUnitShape(train, options.stage.manual_weight))),
        train_rows_(makeRows(train, model_.meanShape, options.starts_per_sample, options.seed)),
        dev_rows_(makeRows(dev, model_.meanShape, kStarts, options.seed)) {}

  TrainedModel run() {
    log_ << train_.size() << " samples, " << train_rows_.count() << " rows; " << dev_.size()
         << " faces to measure" << std::endl;
    errors_.push_back(report(0));
    std::size_t stage = resume();
    for (; stage < options_.stage_levels.size(); ++stage) {
      trainOne(stage);
      errors_.push_back(report(stage + 1));
      save(stage + 1);
    }
    settle();
    return {std::move(model_), std::move(errors_)};
  }

 private:
  void describe(const std::vector<AlignmentSample>& samples, std::size_t stage,
                RegressionRows& rows) {
    describeRows(samples, model_.meanShape, options_.stage_levels[stage],
                 options_.levels_per_octave, options_.stage.threads, rows);
  }

  StageOptions stageOptions(std::size_t stage) const {
    StageOptions options = options_.stage;
    const auto of_stage = [stage](const std::vector<float>& list, float& value) {
      if (!list.empty()) value = list[std::min(stage, list.size() - 1)];
    };
    of_stage(options_.error_knees, options.error_knee);
    of_stage(options_.reaches, options.reach);
    return options;
  }

  void append(const TrainedStage& stage) {
    model_.stageMaps.push_back(stage.map);
    model_.stageBias.push_back(stage.bias);
  }

  void trainOne(std::size_t stage) {
    const Clock::time_point start = Clock::now();
    describe(train_, stage, train_rows_);
    const double described = secondsSince(start);
    const TrainedStage trained = trainStage(train_, stageOptions(stage), train_rows_, log_);
    append(trained);
    describe(dev_, stage, dev_rows_);
    applyTrainedStage(trained, options_.stage, dev_rows_);
    log_ << "stage " << stage + 1 << ", level " << options_.stage_levels[stage] << ", ridge "
         << trained.ridge << ": descriptors " << described << " s, in all " << secondsSince(start)
         << " s" << std::endl;
  }

  /// Lets the last stage end where photographs have their points, not between them and their mirror
  /// images. The shapes of the rows are out of fold, so this is what new faces need.
  void settle() {
    if (model_.stageBias.empty()) return;
    const std::size_t last = model_.stageBias.size() - 1;
    const std::vector<float> left = meanPlainMove(train_, stageOptions(last), train_rows_);
    double along_x = 0;
    for (int i = 0; i < kCoordinates; ++i) {
      model_.stageBias[last].data[i] += left[i];
      if (i % 2 == 0) along_x += left[i] / double{kLandmarks};
    }
    for (std::size_t row = 0; row < dev_rows_.count(); ++row) {
      for (int i = 0; i < kCoordinates; ++i) dev_rows_.shape(row)[i] += left[i];
    }
    log_ << "points of photographs as they stand lie " << along_x
         << " pixels farther to the right on average: the last stage moves there" << std::endl;
    const StageErrors settled = report(last + 1);
    errors_.back().dev_manual = settled.dev_manual;
    errors_.back().dev_tracked = settled.dev_tracked;
  }

  /// Measures, and writes what it finds into the log.
  StageErrors report(std::size_t stages) const {
    const MedianErrors manual = medianErrors(dev_, dev_rows_, /*manual=*/true);
    const MedianErrors tracked = medianErrors(dev_, dev_rows_, /*manual=*/false);
    const double train_manual = meanRowError(train_, train_rows_, /*manual=*/true);
    const double train_tracked = meanRowError(train_, train_rows_, /*manual=*/false);
    log_ << std::fixed << std::setprecision(3) << "after " << stages << " stages: train manual "
         << 100 * train_manual << "% tracked " << 100 * train_tracked << "% | dev manual "
         << 100 * manual.mean << "% (" << 100 * manual.under_tenth
         << "% of faces under 10%) tracked " << 100 * tracked.mean << "% ("
         << 100 * tracked.under_tenth << "%)" << std::defaultfloat << std::endl;
    return {train_manual, train_tracked, manual.mean, tracked.mean};
  }

  void save(std::size_t stages) const {
    if (options_.checkpoint_folder.empty()) return;
    writeModel(model_, stagePath(options_.checkpoint_folder, stages));
    saveShapes(options_.checkpoint_folder + "/shapes.bin", stages, train_rows_.shapes);
  }

  std::size_t resume() {
    if (options_.checkpoint_folder.empty()) return 0;
    const std::size_t stages =
        loadShapes(options_.checkpoint_folder + "/shapes.bin", train_rows_.shapes);
    if (stages == 0) return 0;
    std::size_t stage = 0;
    for (const TrainedStage& trained :
         loadStages(stagePath(options_.checkpoint_folder, stages), stages)) {
      append(trained);
      describe(dev_, stage++, dev_rows_);
      applyTrainedStage(trained, options_.stage, dev_rows_);
    }
    log_ << "continuing from " << options_.checkpoint_folder << std::endl;
    errors_.push_back(report(stages));
    return stages;
  }

  const std::vector<AlignmentSample>& train_;
  const std::vector<AlignmentSample>& dev_;
  const ModelOptions& options_;
  std::ostream& log_;
  oznalib::SDMModel model_;
  std::vector<StageErrors> errors_;  // As TrainedModel returns them.
  RegressionRows train_rows_;
  RegressionRows dev_rows_;
};

}  // namespace

TrainedModel trainModel(const std::vector<AlignmentSample>& train,
                        const std::vector<AlignmentSample>& dev, const ModelOptions& options,
                        std::ostream& log) {
  return ModelTrainer(train, dev, options, log).run();
}

}  // namespace alignment_training
