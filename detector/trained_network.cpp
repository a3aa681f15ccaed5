// A stage's network: built from its definition, with the weights of its file.

#include "detector/trained_network.h"

#include <google/protobuf/arena.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <set>
#include <string>

#include "caffe/filler.hpp"
#include "caffe/util/mapped_block.hpp"
#include "caffe/util/upgrade_proto.hpp"

namespace oznalib {
namespace {

using caffe::FillerParameter;
using caffe::LayerParameter;
using caffe::NetParameter;

// Whether the filler draws numbers and, by its settings, would do so without complaint.
bool drawsNumbers(const FillerParameter& filler) {
  if (filler.sparse() != -1) return false;
  if (filler.type() == "gaussian") return filler.std() > 0;
  if (filler.type() == "uniform") return filler.min() <= filler.max();
  return filler.type() == "xavier" || filler.type() == "positive_unitball";
}

// The first values of a layer's weights; null for a layer that has none.
const FillerParameter* weightFiller(const LayerParameter& layer) {
  if (layer.type() == LayerParameter::CONVOLUTION) {
    return &layer.convolution_param().weight_filler();
  }
  if (layer.type() == LayerParameter::INNER_PRODUCT) {
    return &layer.inner_product_param().weight_filler();
  }
  return nullptr;
}

// Trained weights go to the first layer of a name, so that others of that name keep their fillers.
bool isLeftUnfilled(const NetParameter& definition, int i) {
  const FillerParameter* const filler = weightFiller(definition.layers(i));
  if (filler == nullptr || !drawsNumbers(*filler) || definition.layers(i).blobs_size() > 0) {
    return false;
  }
  const std::string& name = definition.layers(i).name();
  return std::none_of(definition.layers().begin(), definition.layers().begin() + i,
                      [&](const LayerParameter& earlier) { return earlier.name() == name; });
}

void* mapBlock(std::size_t size) {
  void* const block = caffe::MapBlock(size, /*filled=*/true);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

}  // namespace

google::protobuf::ArenaOptions mappedBlocks() {
  google::protobuf::ArenaOptions options;
  options.start_block_size = options.max_block_size = std::size_t{1} << 16;
  options.block_alloc = mapBlock;
  options.block_dealloc = caffe::UnmapBlock;
  return options;
}

boost::shared_ptr<caffe::Net<float>> buildUnfilled(const NetParameter& definition) {
  google::protobuf::Arena arena;  // Leaves nothing behind where the memory ends.
  NetParameter& unfilled = *google::protobuf::Arena::CreateMessage<NetParameter>(&arena);
  unfilled = definition;
  for (int i = 0; i < definition.layers_size(); ++i) {
    if (!isLeftUnfilled(definition, i)) continue;
    LayerParameter& layer = *unfilled.mutable_layers(i);
    FillerParameter& filler = layer.type() == LayerParameter::CONVOLUTION
                                  ? *layer.mutable_convolution_param()->mutable_weight_filler()
                                  : *layer.mutable_inner_product_param()->mutable_weight_filler();
    filler.Clear();
    filler.set_type("constant");
  }
  return boost::shared_ptr<caffe::Net<float>>(new caffe::Net<float>(unfilled));
}

void copyTrained(const NetParameter& definition, const NetParameter& trained,
                 caffe::Net<float>& net) {
  net.CopyTrainedLayersFrom(trained);

  std::set<std::string> names;
  for (const LayerParameter& layer : trained.layers()) names.insert(layer.name());
  for (int i = 0; i < definition.layers_size(); ++i) {
    const LayerParameter& layer = definition.layers(i);
    if (!isLeftUnfilled(definition, i) || names.count(layer.name()) != 0) continue;
    const std::size_t index =
        std::find(net.layer_names().begin(), net.layer_names().end(), layer.name()) -
        net.layer_names().begin();
    const std::unique_ptr<caffe::Filler<float>> filler(caffe::GetFiller(*weightFiller(layer)));
    filler->Fill(net.layers()[index]->blobs()[0].get());
  }
}

std::vector<TrainedLayer> trainedLayers(const caffe::Net<float>& net) {
  std::vector<TrainedLayer> trained;
  for (std::size_t i = 0; i < net.layers().size(); ++i) {
    const auto& blobs = net.layers()[i]->blobs();
    if (!blobs.empty()) trained.push_back({net.layer_names()[i], {blobs.begin(), blobs.end()}});
  }
  return trained;
}

void readTrained(const std::vector<TrainedLayer>& layers, NetParameter& trained) {
  trained.Clear();
  for (const TrainedLayer& layer : layers) {
    LayerParameter& message = *trained.add_layers();
    message.set_name(layer.name);
    for (const auto& blob : layer.blobs) blob->ToProto(message.add_blobs(), /*write_diff=*/false);
  }
}

void copyTrained(const NetParameter& definition, const std::string& weight_path,
                 caffe::Net<float>& net) {
  google::protobuf::Arena arena(mappedBlocks());
  NetParameter& trained = *google::protobuf::Arena::CreateMessage<NetParameter>(&arena);
  caffe::ReadNetParamsFromBinaryFile(weight_path, &trained);
  copyTrained(definition, trained, net);
}

}  // namespace oznalib
