// The model store: from a model directory, or the built-in tables, to a cascade that can run.

#include "detector/model_store.h"

#include <glog/logging.h>
#include <google/protobuf/arena.h>

#include <istream>
#include <locale>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "caffe/util/file_buffer.hpp"
#include "caffe/util/upgrade_proto.hpp"
#include "caffe/vision_layers.hpp"
#include "detector/cascade_defaults.h"
#include "detector/trained_network.h"

namespace oznalib {
namespace {

const char kCalibrationDirectory[] = "cascades/x32Net-x32-3Scales-200/";

struct StageLine {
  std::string name;
  float threshold = 0;
};

// ----------------------------------------------------------------------------
// Text files: stage list, means, tables.

// Reading numbers and words takes memory. Without it, a stream keeps that to itself, and a
// list, a mean or a table would end early; by this it passes the exception on.
void readAsClassicText(std::istream& stream) {
  stream.imbue(std::locale::classic());
  stream.exceptions(std::ios::badbit);
}

// A text file; one that cannot be opened reads as empty.
class TextFile {
 public:
  explicit TextFile(const std::string& path) : file_(path), stream_(&file_) {
    readAsClassicText(stream_);
    if (!file_.isOpen()) {
      stream_.setstate(std::ios::failbit);
    }
  }

  std::istream& stream() { return stream_; }

 private:
  caffe::FileBuffer file_;
  std::istream stream_;
};

std::vector<std::string> readLines(const std::string& path) {
  TextFile file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file.stream(), line);) {
    lines.push_back(line);
  }
  return lines;
}

StageLine parseStageLine(const std::string& line) {
  std::istringstream stream(line);
  readAsClassicText(stream);
  StageLine result;
  stream >> result.name;
  if (!(stream >> result.threshold)) {
    result.threshold = 0;
  }
  return result;
}

std::vector<float> readMean(const std::string& path) {
  TextFile file(path);
  std::vector<float> mean;
  for (float value = 0; file.stream() >> value;) {
    mean.push_back(value);
  }
  return mean;
}

std::vector<OffsetScale> readOffsets(const std::string& path) {
  TextFile file(path);
  std::vector<OffsetScale> offsets;
  for (OffsetScale entry; file.stream() >> entry.dx >> entry.dy >> entry.scale;) {
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

// ----------------------------------------------------------------------------
// From a definition and weights to a network that serves a stage.

// Ends the process where the network cannot serve a stage, whatever picture it gets.
//
// source  Of the definition: its file, or a word for one that is built in.
// dense   Whether it is to give a map of probabilities and not a list.
void requireStageNetwork(const caffe::Net<float>& net, const std::string& source, bool dense) {
  CHECK(!net.input_blobs().empty())
      << source << ": expected a network with an input of 1 by 3 planes, found none.";
  const caffe::Blob<float>& input = *net.input_blobs()[0];
  CHECK(input.num() == 1 && input.channels() == 3)
      << source << ": expected an input of 1 by 3 planes, found " << input.num() << " by "
      << input.channels() << ".";
  const boost::shared_ptr<caffe::Blob<float>> probs = net.blob_by_name(probsBlobName);
  CHECK(probs != nullptr) << source << ": expected a blob \"" << probsBlobName
                          << "\" of probabilities, found none.";
  if (dense) {
    CHECK_GE(probs->num() * probs->channels(), 2)
        << source << ": expected at least two planes of probabilities in the blob \""
        << probsBlobName << "\".";
  } else {
    CHECK_GE(probs->count(), 2) << source << ": expected at least two probabilities in the blob \""
                                << probsBlobName << "\".";
  }
}

// What a network is made from, and where its weights lie.
class NetworkSource {
 public:
  // The definition is in a file.
  NetworkSource(const std::string& definition_path, const std::string& weights)
      : weight_path(weights) {
    caffe::ReadNetParamsFromTextFile(definition_path, &definition);
  }
  // The definition is this text.
  NetworkSource(caffe::FromText, const std::string& text, const std::string& weights)
      : weight_path(weights) {
    caffe::ReadNetParamsFromTextFile1(text, &definition);
  }

 private:
  google::protobuf::Arena arena_;  // Leaves nothing behind where the memory ends.

 public:
  caffe::NetParameter& definition =
      *google::protobuf::Arena::CreateMessage<caffe::NetParameter>(&arena_);
  const std::string weight_path;
};

// Prepares the network of the first stage to slide. The fast path measures the first convolution,
// so the trained weights must be in place before.
void enterFastMode(caffe::Net<float>& net) {
  net.FirstRun();
  net.ShareAndRelease();
  if (net.layers().empty()) {
    return;
  }
  // A first layer of another kind is left for the fast path to report, when it is run.
  auto* const first_layer = dynamic_cast<caffe::ConvolutionLayer<float>*>(net.layers()[0].get());
  if (first_layer != nullptr) {
    first_layer->PrepareBinarization();
  }
}

// ----------------------------------------------------------------------------
// Stages from a model directory.

CascadeStage loadFirstStage(const std::string& directory) {
  CascadeStage stage;
  const std::string definition = directory + "/prototxt-full";
  const NetworkSource source(definition, directory + "/proto-full");
  stage.net = buildUnfilled(source.definition);
  requireStageNetwork(*stage.net, definition, /*dense=*/true);
  copyTrained(source.definition, source.weight_path, *stage.net);
  enterFastMode(*stage.net);
  return stage;
}

CascadeStage loadLaterStage(const std::string& directory) {
  CascadeStage stage;
  const std::string definition = directory + "/prototxt-deploy";
  const NetworkSource source(definition, directory + "/proto");
  stage.net = buildUnfilled(source.definition);
  requireStageNetwork(*stage.net, definition, /*dense=*/false);
  copyTrained(source.definition, source.weight_path, *stage.net);
  stage.net->ShareAndRelease();
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

// ----------------------------------------------------------------------------
// Stages from the built-in tables, and from memory.

CascadeStage makeLaterStage(const std::string& text, const std::string& weight_path,
                            std::vector<float> mean) {
  CascadeStage stage;
  const NetworkSource source(caffe::FromText(), text, weight_path);
  stage.net = buildUnfilled(source.definition);
  copyTrained(source.definition, source.weight_path, *stage.net);
  stage.net->ShareAndRelease();
  stage.mean = std::move(mean);
  return stage;
}

CascadeStage makeFirstStage(const std::string& text, const std::string& weight_path) {
  CascadeStage stage;
  const NetworkSource source(caffe::FromText(), text, weight_path);
  stage.net = buildUnfilled(source.definition);
  copyTrained(source.definition, source.weight_path, *stage.net);
  enterFastMode(*stage.net);
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

CascadeStage makeStage(const NetworkContent& content, bool dense) {
  CascadeStage stage;
  stage.offsets = content.rest->offsets;
  stage.mean = content.rest->mean;
  stage.threshold = content.rest->threshold;
  stage.net = buildUnfilled(*content.definition);
  requireStageNetwork(*stage.net, content.definition->name(), dense);
  {
    google::protobuf::Arena arena(mappedBlocks());
    auto& room = *google::protobuf::Arena::CreateMessage<caffe::NetParameter>(&arena);
    copyTrained(*content.definition, content.weights(room), *stage.net);
  }
  if (dense) {
    enterFastMode(*stage.net);
  } else {
    stage.net->ShareAndRelease();
  }
  return stage;
}

// ----------------------------------------------------------------------------
// The steps of a load.

// The steps that both loads from files have in common; the two callables fill the stages and make
// the calibration stage.
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

void loadFromMemory(const std::vector<NetworkContent>& stages, const NetworkContent& calibration,
                    DetectorImpl& detector) {
  const std::lock_guard<boost::mutex> guard(loadLock());
  for (const NetworkContent& content : stages) {
    detector.stages.push_back(makeStage(content, /*dense=*/detector.stages.empty()));
  }
  detector.stagesLoaded = true;
  detector.calibration = makeStage(calibration, /*dense=*/false);
  // Of a box without area the next stage would take no pixels, which the image library refuses.
  detector.calibration.least_side = 1;
  detector.calibrationLoaded = true;
  detector.loaded = true;
}

}  // namespace oznalib
