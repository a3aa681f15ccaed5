// From the files of a cascade to detectors.

#include "kit/models/cascade.h"

#include <string>
#include <utility>

#include "caffe/common.hpp"
#include "caffe/syncedmem.hpp"
#include "detector/model_store.h"
#include "detector/trained_network.h"
#include "kit/models/network_messages.h"
#include "kit/models/number_lists.h"

namespace kit {
namespace {

using caffe::NetParameter;
using google::protobuf::Arena;
using Role = CheckedNetwork::Role;

const char kStageList[] = "stages.txt";
const char kCalibration[] = "cascades/x32Net-x32-3Scales-200";

// Largest sizes of files, in bytes.
constexpr std::size_t kMostOfList = std::size_t{1} << 16;
constexpr std::size_t kMostOfText = std::size_t{1} << 20;
constexpr std::size_t kMostOfNumbers = std::size_t{1} << 25;
constexpr std::size_t kMostOfWeights = std::size_t{1} << 28;

CheckedNetwork readNetwork(const ModelSource& source, const std::string& directory, Role role) {
  const bool is_dense = role == Role::kDense;
  const std::string definition_name =
      directory + (is_dense ? "/prototxt-full" : "/prototxt-deploy");
  const std::string weights_name = directory + (is_dense ? "/proto-full" : "/proto");
  const std::string definition_label = source.labelOf(definition_name);
  const std::string weights_label = source.labelOf(weights_name);
  Arena arena;
  auto& definition = *Arena::CreateMessage<NetParameter>(&arena);
  parseDefinition(definition_label, source.read(definition_name, kMostOfText).view(), definition);
  auto weights_arena = std::make_unique<Arena>(oznalib::mappedBlocks());
  auto& weights = *Arena::CreateMessage<NetParameter>(weights_arena.get());
  parseWeights(weights_label, source.read(weights_name, kMostOfWeights).view(), weights);
  return CheckedNetwork(role, definition_label, definition, weights_label, std::move(weights_arena),
                        weights);
}

std::vector<float> readMean(const ModelSource& source, const std::string& directory,
                            const CheckedNetwork& network) {
  const std::string name = directory + "/mean";
  return parseMean(source.labelOf(name), source.read(name, kMostOfNumbers).view(),
                   static_cast<std::size_t>(network.input().count()));
}

// What weights(i, room) gives goes into the i-th network.
template <class Weights>
void fill(const std::vector<CheckedNetwork>& networks,
          const std::vector<oznalib::CascadeStage>& rest, const Weights& weights,
          oznalib::DetectorImpl& detector) {
  // The runtime's blocks of memory; of what is built until one is missing nothing stays.
  const caffe::ThrowWithoutMemory throwing;
  caffe::Caffe::set_mode(caffe::Caffe::CPU);
  caffe::Caffe::set_phase(caffe::Caffe::TEST);
  std::vector<oznalib::NetworkContent> contents;
  for (std::size_t i = 0; i < networks.size(); ++i) {
    contents.push_back(
        {&networks[i].definition(),
         [&weights, i](NetParameter& room) -> const NetParameter& { return weights(i, room); },
         &rest[i]});
  }
  const oznalib::NetworkContent calibration = std::move(contents.back());
  contents.pop_back();
  loadFromMemory(contents, calibration, detector);
}

}  // namespace

Cascade::Cascade(const ModelSource& source) {
  const std::vector<ListedStage> stages =
      parseStageList(source.labelOf(kStageList), source.read(kStageList, kMostOfList).view());
  for (const ListedStage& stage : stages) {
    const Role role = networks_.empty() ? Role::kDense : Role::kJudge;
    networks_.push_back(readNetwork(source, stage.directory, role));
    oznalib::CascadeStage rest;
    rest.threshold = stage.threshold;
    if (role == Role::kJudge) rest.mean = readMean(source, stage.directory, networks_.back());
    rest_.push_back(std::move(rest));
  }
  networks_.push_back(readNetwork(source, kCalibration, Role::kCalibration));
  oznalib::CascadeStage rest;
  rest.mean = readMean(source, kCalibration, networks_.back());
  const std::string table = std::string(kCalibration) + "/offsets-scales";
  rest.offsets = parseOffsets(source.labelOf(table), source.read(table, kMostOfNumbers).view(),
                              static_cast<std::size_t>(networks_.back().outputs()));
  rest_.push_back(std::move(rest));

  first_ = std::make_unique<oznalib::DetectorImpl>();
  fill(
      networks_, rest_,
      [&](std::size_t i, NetParameter&) -> const NetParameter& { return networks_[i].weights(); },
      *first_);
  for (CheckedNetwork& network : networks_) network.dropWeights();
  for (const oznalib::CascadeStage& stage : first_->stages) {
    weights_.push_back(oznalib::trainedLayers(*stage.net));
  }
  weights_.push_back(oznalib::trainedLayers(*first_->calibration.net));
}

std::unique_ptr<oznalib::DetectorImpl> Cascade::makeDetector() const {
  auto detector = std::make_unique<oznalib::DetectorImpl>();
  fill(
      networks_, rest_,
      [&](std::size_t i, NetParameter& room) -> const NetParameter& {
        oznalib::readTrained(weights_[i], room);
        return room;
      },
      *detector);
  return detector;
}

int Cascade::largestLaterInput() const {
  std::int64_t largest = 0;
  for (std::size_t i = 1; i < networks_.size(); ++i) {
    largest = std::max({largest, networks_[i].input().width, networks_[i].input().height});
  }
  return static_cast<int>(largest);
}

}  // namespace kit
