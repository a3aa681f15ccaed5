// The loop over stages: describe, solve, move, measure, save.

#include "training/alignment/model_trainer.h"

#include <algorithm>
#include <chrono>
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

oznalib::SDMModel emptyModel(const ModelOptions& options, const Shape& meanShape) {
  oznalib::SDMModel model;
  model.stageLevels.assign(options.stageLevels.begin(), options.stageLevels.end());
  model.levelsPerOctave = options.levelsPerOctave;
  model.faceWidth = options.faceWidth;
  model.reservedFlag = 1;
  model.meanShape = meanShape;
  model.auxMatrices.resize(1);  // Without any, the library leaves the bias out.
  return model;
}

std::string stagePath(const std::string& folder, size_t stages) {
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
size_t loadShapes(const std::string& path, std::vector<float>& shapes) {
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
std::vector<TrainedStage> loadStages(const std::string& path, size_t count) {
  const size_t slash = path.rfind('/');
  if (oznalib::loadModelSlot(path.substr(0, slash), path.substr(slash + 1)) != oznalib::StatusOk) {
    throw std::runtime_error("cannot read " + path);
  }
  const oznalib::SDMModel& model = *oznalib::globalSDMModel();
  if (model.stageMaps.size() != count) throw std::runtime_error(path + " has other stages");
  std::vector<TrainedStage> stages;
  for (size_t i = 0; i < count; ++i) {
    stages.push_back({model.stageMaps[i], model.stageBias[i], /*ridge=*/0});
  }
  oznalib::unloadModelSlot();
  return stages;
}

double medianError(const std::vector<AlignmentSample>& samples, const RegressionRows& rows,
                   bool manual, double* underTenth) {
  double sum = 0;
  int count = 0;
  int under = 0;
  for (size_t i = 0; i < samples.size(); ++i) {
    if (samples[i].manual != manual) continue;
    const Shape median = medianShape(rows, static_cast<int>(i));
    const float error = shapeError(samples[i], median.data(), rows.truth(rows.firstRow[i]));
    sum += error;
    under += error < 0.1F ? 1 : 0;
    ++count;
  }
  *underTenth = count > 0 ? static_cast<double>(under) / count : 0;
  return count > 0 ? sum / count : 0;
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
        model_(emptyModel(options, meanUnitShape(train, options.stage.manualWeight))),
        trainRows_(makeRows(train, model_.meanShape, options.startsPerSample, options.seed)),
        devRows_(makeRows(dev, model_.meanShape, kStarts, options.seed)) {}

  oznalib::SDMModel run(TrainingCurve* curve) {
    log_ << train_.size() << " samples, " << trainRows_.count() << " rows; " << dev_.size()
         << " faces to measure" << std::endl;
    report(0, curve);
    size_t stage = resume(curve);
    for (; stage < options_.stageLevels.size(); ++stage) {
      trainOne(stage);
      report(stage + 1, curve);
      save(stage + 1);
    }
    return std::move(model_);
  }

 private:
  void describe(const std::vector<AlignmentSample>& samples, size_t stage, RegressionRows& rows) {
    describeRows(samples, model_.meanShape, options_.stageLevels[stage], options_.levelsPerOctave,
                 options_.stage.threads, rows);
  }

  StageOptions stageOptions(size_t stage) const {
    StageOptions options = options_.stage;
    const std::vector<float>& knees = options_.errorKnees;
    if (!knees.empty()) options.errorKnee = knees[std::min(stage, knees.size() - 1)];
    return options;
  }

  void append(const TrainedStage& stage) {
    model_.stageMaps.push_back(stage.map);
    model_.stageBias.push_back(stage.bias);
  }

  void trainOne(size_t stage) {
    const Clock::time_point start = Clock::now();
    describe(train_, stage, trainRows_);
    const double described = secondsSince(start);
    const TrainedStage trained = trainStage(train_, stageOptions(stage), trainRows_, log_);
    append(trained);
    describe(dev_, stage, devRows_);
    applyTrainedStage(trained, options_.stage, devRows_);
    log_ << "stage " << stage + 1 << ", level " << options_.stageLevels[stage] << ", ridge "
         << trained.ridge << ": descriptors " << described << " s, in all " << secondsSince(start)
         << " s" << std::endl;
  }

  void report(size_t stages, TrainingCurve* curve) {
    double manualUnder = 0;
    double trackedUnder = 0;
    const double manual = medianError(dev_, devRows_, /*manual=*/true, &manualUnder);
    const double tracked = medianError(dev_, devRows_, /*manual=*/false, &trackedUnder);
    const double trainManual = meanRowError(train_, trainRows_, /*manual=*/true);
    const double trainTracked = meanRowError(train_, trainRows_, /*manual=*/false);
    log_ << std::fixed << std::setprecision(3) << "after " << stages << " stages: train manual "
         << 100 * trainManual << "% tracked " << 100 * trainTracked << "% | dev manual "
         << 100 * manual << "% (" << 100 * manualUnder << "% of faces under 10%) tracked "
         << 100 * tracked << "% (" << 100 * trackedUnder << "%)" << std::defaultfloat << std::endl;
    if (curve == nullptr) return;
    curve->trainManual.push_back(trainManual);
    curve->trainTracked.push_back(trainTracked);
    curve->devManual.push_back(manual);
    curve->devTracked.push_back(tracked);
  }

  void save(size_t stages) const {
    if (options_.checkpointFolder.empty()) return;
    writeModel(model_, stagePath(options_.checkpointFolder, stages));
    saveShapes(options_.checkpointFolder + "/shapes.bin", stages, trainRows_.shapes);
  }

  size_t resume(TrainingCurve* curve) {
    if (options_.checkpointFolder.empty()) return 0;
    const size_t stages = loadShapes(options_.checkpointFolder + "/shapes.bin", trainRows_.shapes);
    if (stages == 0) return 0;
    size_t stage = 0;
    for (const TrainedStage& trained :
         loadStages(stagePath(options_.checkpointFolder, stages), stages)) {
      append(trained);
      describe(dev_, stage++, devRows_);
      applyTrainedStage(trained, options_.stage, devRows_);
    }
    log_ << "going on from " << options_.checkpointFolder << std::endl;
    report(stages, curve);
    return stages;
  }

  const std::vector<AlignmentSample>& train_;
  const std::vector<AlignmentSample>& dev_;
  const ModelOptions& options_;
  std::ostream& log_;
  oznalib::SDMModel model_;
  RegressionRows trainRows_;
  RegressionRows devRows_;
};

}  // namespace

oznalib::SDMModel trainModel(const std::vector<AlignmentSample>& train,
                             const std::vector<AlignmentSample>& dev, const ModelOptions& options,
                             std::ostream& log, TrainingCurve* curve) {
  return ModelTrainer(train, dev, options, log).run(curve);
}

}  // namespace alignment_training
