/// The model store: from a model directory, or the built-in tables, to a cascade that can run.

#include "detector/model_store.h"

#include <fstream>
#include <locale>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "caffe/vision_layers.hpp"
#include "detector/cascade_defaults.h"

namespace oznalib {
namespace {

using NetPointer = boost::shared_ptr<caffe::Net<float>>;

const char kCalibrationDirectory[] = "cascades/x32Net-x32-3Scales-200/";

struct StageLine {
  std::string name;
  float threshold = 0;
};

std::ifstream openText(const std::string& path) {
  std::ifstream stream;
  stream.imbue(std::locale::classic());
  stream.open(path);
  return stream;
}

std::vector<std::string> readLines(const std::string& path) {
  std::ifstream stream = openText(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}

StageLine parseStageLine(const std::string& line) {
  std::istringstream stream(line);
  stream.imbue(std::locale::classic());
  StageLine result;
  stream >> result.name;
  if (!(stream >> result.threshold)) {
    result.threshold = 0;
  }
  return result;
}

std::vector<float> readMean(const std::string& path) {
  std::ifstream stream = openText(path);
  std::vector<float> mean;
  for (float value = 0; stream >> value;) {
    mean.push_back(value);
  }
  return mean;
}

std::vector<OffsetScale> readOffsets(const std::string& path) {
  std::ifstream stream = openText(path);
  std::vector<OffsetScale> offsets;
  for (OffsetScale entry; stream >> entry.dx >> entry.dy >> entry.scale;) {
    offsets.push_back(entry);
  }
  return offsets;
}

template <class Table>
std::vector<float> narrow(const Table& table) {
  std::vector<float> values;
  values.reserve(table.size());
  for (const double value : table) {
    values.push_back(static_cast<float>(value));
  }
  return values;
}

std::vector<OffsetScale> narrowOffsets(const CascadeDefaults& defaults) {
  std::vector<OffsetScale> offsets;
  for (int entry = 0; entry < CascadeDefaults::kCalibrationEntries; ++entry) {
    offsets.push_back({defaults.calibrationDx[entry], defaults.calibrationDy[entry],
                       static_cast<float>(defaults.calibrationScale[entry])});
  }
  return offsets;
}

// The fast path measures the first convolution, so the trained weights must be in place before.
void enterFastMode(caffe::Net<float>& net, const std::string& weight_path) {
  net.CopyTrainedLayersFrom(weight_path);
  net.FirstRun();
  if (net.layers().empty()) {
    return;
  }
  // A first layer of another kind is left for the fast path to report, when it is run.
  auto* const first_layer = dynamic_cast<caffe::ConvolutionLayer<float>*>(net.layers()[0].get());
  if (first_layer != nullptr) {
    first_layer->PrepareBinarization();
  }
}

CascadeStage loadFirstStage(const std::string& directory) {
  CascadeStage stage;
  stage.net.reset(new caffe::Net<float>(directory + "/prototxt-full"));
  enterFastMode(*stage.net, directory + "/proto-full");
  return stage;
}

CascadeStage loadLaterStage(const std::string& directory) {
  CascadeStage stage;
  stage.net.reset(new caffe::Net<float>(directory + "/prototxt-deploy"));
  stage.net->CopyTrainedLayersFrom(directory + "/proto");
  stage.mean = readMean(directory + "/mean");
  return stage;
}

void loadStages(const DetectorParams& params, std::vector<CascadeStage>& stages) {
  const std::string root = params.cascadeRoot;
  for (const std::string& line : readLines(root + params.stageListName)) {
    if (!line.empty() && line[0] == '#') {
      continue;
    }
    const StageLine stage_line = parseStageLine(line);
    const std::string directory = root + stage_line.name;
    stages.push_back(stages.empty() ? loadFirstStage(directory) : loadLaterStage(directory));
    stages.back().threshold = stage_line.threshold;
  }
}

CascadeStage loadCalibration(const std::string& directory) {
  CascadeStage stage = loadLaterStage(directory);
  stage.offsets = readOffsets(directory + "/offsets-scales");
  return stage;
}

CascadeStage makeLaterStage(const std::string& text, const std::string& weight_path,
                            std::vector<float> mean) {
  CascadeStage stage;
  stage.net.reset(new caffe::Net<float>(caffe::FromText(), text));
  stage.net->CopyTrainedLayersFrom(weight_path);
  stage.mean = std::move(mean);
  return stage;
}

CascadeStage makeFirstStage(const std::string& text, const std::string& weight_path) {
  CascadeStage stage;
  stage.net.reset(new caffe::Net<float>(caffe::FromText(), text));
  enterFastMode(*stage.net, weight_path);
  return stage;
}

void makeStages(const CascadeDefaults& defaults, std::vector<CascadeStage>& stages) {
  const std::string texts[] = {defaults.firstStageNetText, defaults.secondStageNetText,
                               defaults.thirdStageNetText};
  std::vector<float> means[] = {narrow(defaults.firstStageMean), narrow(defaults.secondStageMean),
                                narrow(defaults.thirdStageMean)};
  for (int i = 0; i < CascadeDefaults::kStages; ++i) {
    const std::string& path = defaults.stageWeightPaths[i];
    stages.push_back(stages.empty() ? makeFirstStage(texts[i], path)
                                    : makeLaterStage(texts[i], path, std::move(means[i])));
    stages.back().threshold = static_cast<float>(defaults.stageThresholds[i]);
  }
}

// The steps that both loads have in common; the two callables fill the stages and make the
// calibration stage.
template <class LoadStages, class LoadCalibration>
Status loadInSteps(DetectorImpl& detector, LoadStages load_stages,
                   LoadCalibration load_calibration) {
  if (!detector.stagesLoaded) {
    load_stages(detector.stages);
    if (detector.stages.empty()) {
      return StatusLoadFailed;
    }
    detector.stagesLoaded = true;
  }
  if (!detector.calibrationLoaded) {
    detector.calibration = load_calibration();
    if (!detector.calibration.net) {
      return StatusLoadFailed;
    }
    detector.calibrationLoaded = true;
  }
  detector.loaded = true;
  return StatusOk;
}

}  // namespace

boost::mutex& loadLock() {
  static boost::mutex* const lock = new boost::mutex;
  return *lock;
}

Status loadFromFiles(const DetectorParams& params, DetectorImpl& detector) {
  const std::lock_guard<boost::mutex> guard(loadLock());
  return loadInSteps(
      detector, [&](std::vector<CascadeStage>& stages) { loadStages(params, stages); },
      [&] { return loadCalibration(std::string(params.cascadeRoot) + kCalibrationDirectory); });
}

Status loadBuiltIn(DetectorImpl& detector) {
  const std::lock_guard<boost::mutex> guard(loadLock());
  const auto defaults = std::make_unique<const CascadeDefaults>();
  return loadInSteps(
      detector, [&](std::vector<CascadeStage>& stages) { makeStages(*defaults, stages); },
      [&] {
        CascadeStage stage =
            makeLaterStage(defaults->calibrationNetText, defaults->calibrationWeightPath,
                           narrow(defaults->calibrationMean));
        stage.offsets = narrowOffsets(*defaults);
        return stage;
      });
}

}  // namespace oznalib
