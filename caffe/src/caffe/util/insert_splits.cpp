// InsertSplits: gives each consumer of a blob a copy of its own.

#include "caffe/util/insert_splits.hpp"

#include <map>
#include <string>
#include <utility>

#include "caffe/common.hpp"

namespace caffe {

namespace {

using BlobPosition = std::pair<int, int>;  // Layer, -1 for a network input, and place in its list.

// Not by a stream, which would cut the name where it gets no memory, and report nothing.
string SplitLayerName(const string& layer_name, const string& blob_name, int blob_index) {
  return blob_name + "_" + layer_name + "_" + std::to_string(blob_index) + "_split";
}

string SplitBlobName(const string& layer_name, const string& blob_name, int blob_index,
                     int split_index) {
  return SplitLayerName(layer_name, blob_name, blob_index) + "_" + std::to_string(split_index);
}

void ConfigureSplitLayer(const string& layer_name, const string& blob_name, int blob_index,
                         int split_count, LayerParameter* split) {
  split->add_bottom(blob_name);
  split->set_name(SplitLayerName(layer_name, blob_name, blob_index));
  split->set_type(LayerParameter::SPLIT);
  for (int s = 0; s < split_count; ++s) {
    split->add_top(SplitBlobName(layer_name, blob_name, blob_index, s));
  }
}

// Who makes what each layer reads, and how many read each product.
struct Wiring {
  map<BlobPosition, BlobPosition> producer_of_bottom;
  map<BlobPosition, int> consumer_count;

  int ConsumersOf(const BlobPosition& top) const {
    const auto found = consumer_count.find(top);
    return found == consumer_count.end() ? 0 : found->second;
  }
};

Wiring TraceWiring(const NetParameter& param) {
  Wiring wiring;
  map<string, BlobPosition> last_producer;
  for (int i = 0; i < param.input_size(); ++i) {
    last_producer[param.input(i)] = {-1, i};
  }
  for (int i = 0; i < param.layers_size(); ++i) {
    const LayerParameter& layer = param.layers(i);
    for (int j = 0; j < layer.bottom_size(); ++j) {
      const auto found = last_producer.find(layer.bottom(j));
      if (found == last_producer.end()) {
        LOG(FATAL) << "Unknown blob input " << layer.bottom(j) << " to layer " << j;
      }
      wiring.producer_of_bottom[{i, j}] = found->second;
      ++wiring.consumer_count[found->second];
    }
    // A layer in place rewrites its blob, so later readers are readers of this layer.
    for (int j = 0; j < layer.top_size(); ++j) {
      last_producer[layer.top(j)] = {i, j};
    }
  }
  return wiring;
}

}  // namespace

void InsertSplits(const NetParameter& param, NetParameter* param_split) {
  const Wiring wiring = TraceWiring(param);
  param_split->CopyFrom(param);
  param_split->clear_layers();

  for (int i = 0; i < param.input_size(); ++i) {
    const int consumers = wiring.ConsumersOf({-1, i});
    if (consumers > 1) {
      ConfigureSplitLayer("input", param.input(i), i, consumers, param_split->add_layers());
    }
  }

  map<BlobPosition, int> next_split;
  for (int i = 0; i < param.layers_size(); ++i) {
    LayerParameter* layer = param_split->add_layers();
    layer->CopyFrom(param.layers(i));
    for (int j = 0; j < layer->bottom_size(); ++j) {
      const BlobPosition producer = wiring.producer_of_bottom.at({i, j});
      if (wiring.ConsumersOf(producer) > 1) {
        const string& producer_name =
            producer.first < 0 ? string("input") : param.layers(producer.first).name();
        layer->set_bottom(j, SplitBlobName(producer_name, param.layers(i).bottom(j),
                                           producer.second, next_split[producer]++));
      }
    }
    for (int j = 0; j < param.layers(i).top_size(); ++j) {
      const int consumers = wiring.ConsumersOf({i, j});
      if (consumers > 1) {
        ConfigureSplitLayer(param.layers(i).name(), param.layers(i).top(j), j, consumers,
                            param_split->add_layers());
      }
    }
  }
}

}  // namespace caffe
