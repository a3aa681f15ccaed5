// The check of a network: its graph, its shapes, its weights.

#include "kit/models/checked_network.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "kit/error.h"

namespace kit {
namespace {

using caffe::LayerParameter;
using caffe::NetParameter;
using Role = CheckedNetwork::Role;

constexpr std::int64_t kMostSide = 8192;  // Of an input, in pixels.
constexpr int kLeastDenseSide = 16;       // Below it, tiles would not overlap.
constexpr int kMostLayers = 1000;
// Of all layers together. A search runs a judging network thousands of times.
constexpr std::int64_t kMostDenseProducts = std::int64_t{1} << 34;
constexpr std::int64_t kMostJudgeProducts = std::int64_t{1} << 31;
const char kOutput[] = "probs";
constexpr float kLargestValue = std::numeric_limits<float>::max();

// A blob as some layer leaves it: a layer that works in place makes a new version of it.
struct Version {
  std::string runtime_name;
  Shape shape;
  int consumers = 0;
  bool is_overwritten = false;  // By a layer that works in place.
};

class Checker {
 public:
  Checker(Role role, const std::string& definition_label, const NetParameter& definition,
          const std::string& weights_label, NetParameter& weights)
      : role_(role),
        definition_label_(definition_label),
        definition_(definition),
        weights_label_(weights_label),
        weights_(weights) {}

  void run(NetParameter& runtime_definition, NetParameter& runtime_weights) {
    if (definition_.layers_size() > kMostLayers) {
      fail("at most " + std::to_string(kMostLayers) + " layers",
           std::to_string(definition_.layers_size()));
    }
    addInput(runtime_definition);
    listWeights();
    for (int i = 0; i < definition_.layers_size(); ++i) {
      addLayer(i, *runtime_definition.add_layers(), runtime_weights);
    }
    checkUses();
    checkOutput();
  }

  const Shape& input() const { return input_; }
  const Shape& output() const { return versions_[current_.at(kOutput)].shape; }

 private:
  bool isDense() const { return role_ == Role::kDense; }

  [[noreturn]] void fail(const std::string& expected, const std::string& found) const {
    throw Error(OZNAKIT_BAD_MODEL,
                definition_label_ + ": expected " + expected + ", found " + found + ".");
  }

  void addInput(NetParameter& runtime_definition) {
    if (definition_.input_size() != 1 || definition_.input_dim_size() != 4) {
      fail("one input of four dimensions",
           std::to_string(definition_.input_size()) + " inputs and " +
               std::to_string(definition_.input_dim_size()) + " dimensions");
    }
    const auto& dims = definition_.input_dim();
    if (dims[0] != 1 || dims[1] != 3) {
      fail("an input of 1 by 3 planes", std::to_string(dims[0]) + " by " + std::to_string(dims[1]));
    }
    const int least = isDense() ? kLeastDenseSide : 1;
    for (const int side : {dims[2], dims[3]}) {
      if (side < least || side > kMostSide) {
        fail("an input with sides of " + std::to_string(least) + " to " + std::to_string(kMostSide),
             std::to_string(side));
      }
    }
    input_ = {3, dims[2], dims[3]};
    if (input_.count() > kMostValues) {
      fail("an input of at most " + std::to_string(kMostValues) + " values",
           std::to_string(input_.count()));
    }
    values_ = input_.count();
    runtime_definition.set_name(definition_label_);
    runtime_definition.add_input("input");
    for (const int dim : dims) runtime_definition.add_input_dim(dim);
    current_[definition_.input(0)] = 0;
    versions_.push_back({"input", input_});
  }

  void listWeights() {
    for (int i = 0; i < weights_.layers_size(); ++i) {
      const LayerParameter& layer = weights_.layers(i);
      if (layer.blobs_size() == 0) continue;
      const bool is_new = weights_of_.emplace(layer.name(), i).second;
      if (!is_new) {
        throw Error(OZNAKIT_BAD_MODEL, weights_label_ + ": expected weights of layer \"" +
                                           shown(layer.name()) + "\" once, found them twice.");
      }
    }
  }

  // Names come from strangers.
  static std::string shown(const std::string& name) {
    std::string text;
    for (const char c : name.substr(0, 60)) text += c >= ' ' && c <= '~' ? c : '?';
    return text;
  }

  void addLayer(int i, LayerParameter& runtime, NetParameter& runtime_weights) {
    const LayerParameter& layer = definition_.layers(i);
    const std::string where = definition_label_ + ": layer \"" + shown(layer.name()) + "\"";
    const auto refuse = [&](const std::string& expected, const std::string& found) {
      throw Error(OZNAKIT_BAD_MODEL, where + ": expected " + expected + ", found " + found + ".");
    };
    if (!names_.insert(layer.name()).second) refuse("a name of its own", "it a second time");
    if (layer.blobs_size() > 0) refuse("weights in " + weights_label_, "some in the definition");
    if (layer.top_size() != 1) refuse("one output", std::to_string(layer.top_size()));

    std::vector<Shape> bottoms;
    std::vector<std::size_t> read;
    for (const std::string& bottom : layer.bottom()) {
      const auto found = current_.find(bottom);
      if (found == current_.end()) {
        refuse("an input that a layer before makes", "\"" + shown(bottom) + "\"");
      }
      ++versions_[found->second].consumers;
      bottoms.push_back(versions_[found->second].shape);
      read.push_back(found->second);
      runtime.add_bottom(versions_[found->second].runtime_name);
    }
    const LayerPlan plan = planLayer(where, layer, bottoms, isDense(), runtime);
    const std::string& top = layer.top(0);
    const bool in_place = layer.bottom(0) == top;
    if (in_place && (!mapsEachValue(layer.type()) || read[0] == 0)) {
      refuse("an output of another name than the input", "\"" + shown(top) + "\" for both");
    }
    if (!in_place && current_.count(top) != 0) {
      refuse("an output that no layer before makes", "\"" + shown(top) + "\"");
    }
    if (isDense()) {
      if (i == 0 && layer.type() != LayerParameter::CONVOLUTION) {
        refuse("a CONVOLUTION, which is the first layer of a network that slides", "another kind");
      }
      if (read[0] != versions_.size() - 1) {
        refuse("the output of the layer before as input", "\"" + shown(layer.bottom(0)) + "\"");
      }
      if (mapsEachValue(layer.type()) && !in_place) {
        refuse("a layer that works in place", "an output of another name");
      }
    }

    runtime.set_name("layer" + std::to_string(i));
    std::string runtime_top = top == kOutput ? kOutput : "blob" + std::to_string(i);
    if (in_place) {
      versions_[read[0]].is_overwritten = true;
      runtime_top = versions_[read[0]].runtime_name;
    } else {
      values_ += plan.top.count();
    }
    runtime.add_top(runtime_top);
    current_[top] = versions_.size();
    versions_.push_back({runtime_top, plan.top});
    products_ += plan.products + plan.top.count();
    requireBounds();
    if (plan.has_weights) takeWeights(layer.name(), runtime.name(), plan, runtime_weights);
  }

  void requireBounds() const {
    if (values_ > kMostValues) {
      fail("layers of at most " + std::to_string(kMostValues) + " values together", "more");
    }
    const std::int64_t most = isDense() ? kMostDenseProducts : kMostJudgeProducts;
    if (products_ > most) fail("at most " + std::to_string(most) + " products in a run", "more");
  }

  void takeWeights(const std::string& name, const std::string& runtime_name, const LayerPlan& plan,
                   NetParameter& runtime_weights) {
    const std::string where = weights_label_ + ": layer \"" + shown(name) + "\"";
    const auto refuse = [&](const std::string& expected, const std::string& found) {
      throw Error(OZNAKIT_BAD_MODEL, where + ": expected " + expected + ", found " + found + ".");
    };
    const auto found = weights_of_.find(name);
    if (found == weights_of_.end()) refuse("weights", "none");
    LayerParameter& given = *weights_.mutable_layers(found->second);
    const int expected = plan.has_bias ? 2 : 1;
    if (given.blobs_size() != expected) {
      refuse(plan.has_bias ? "weights and a bias" : "weights without a bias",
             std::to_string(given.blobs_size()) + " blobs");
    }
    LayerParameter& layer = *runtime_weights.add_layers();
    layer.set_name(runtime_name);
    const std::vector<int> shapes[] = {plan.weight_shape, {1, 1, 1, plan.outputs}};
    for (int j = 0; j < expected; ++j) {
      caffe::BlobProto& blob = *given.mutable_blobs(j);
      requireBlob(where + (j == 0 ? ": weights" : ": bias"), blob, shapes[j]);
      blob.clear_diff();
      *layer.add_blobs() = std::move(blob);
    }
  }

  // Without a way out of the loop, so that the compiler makes it one of vectors.
  static bool hasOddValue(const caffe::BlobProto& blob) {
    bool is_odd = false;
    for (const float value : blob.data()) is_odd |= !(std::fabs(value) <= kLargestValue);
    return is_odd;
  }

  static void requireBlob(const std::string& where, const caffe::BlobProto& blob,
                          const std::vector<int>& shape) {
    const std::vector<int> given = {blob.num(), blob.channels(), blob.height(), blob.width()};
    const auto text = [](const std::vector<int>& sizes) {
      std::string sides;
      for (const int size : sizes) sides += (sides.empty() ? "" : " by ") + std::to_string(size);
      return sides;
    };
    if (given != shape) {
      throw Error(OZNAKIT_BAD_MODEL,
                  where + ": expected " + text(shape) + " values, found " + text(given) + ".");
    }
    std::int64_t count = 1;
    for (const int size : shape) count *= size;
    if (blob.data_size() != count) {
      throw Error(OZNAKIT_BAD_MODEL, where + ": expected " + std::to_string(count) +
                                         " values, found " + std::to_string(blob.data_size()) +
                                         ".");
    }
    if (hasOddValue(blob)) {
      const auto odd = std::find_if_not(blob.data().begin(), blob.data().end(),
                                        [](float value) { return std::isfinite(value); });
      throw Error(OZNAKIT_BAD_MODEL, where + ": expected finite values, found another one at " +
                                         std::to_string(odd - blob.data().begin()) + ".");
    }
  }

  void checkUses() const {
    for (const Version& version : versions_) {
      if (version.is_overwritten && version.consumers > 1) {
        fail("a layer that works in place to be the only one to read its input",
             std::to_string(version.consumers) + " readers");
      }
    }
  }

  void checkOutput() const {
    const auto found = current_.find(kOutput);
    if (found == current_.end() || found->second == 0) {
      fail("an output \"probs\" of probabilities", "none");
    }
    if (versions_[found->second].consumers > 0) {
      fail("the output \"probs\" to be read by no layer", "a reader");
    }
    const Shape& shape = versions_[found->second].shape;
    if (isDense() && shape.channels < 2) {
      fail("at least two planes of probabilities", std::to_string(shape.channels));
    }
    if (shape.count() < 2) fail("at least two probabilities", std::to_string(shape.count()));
  }

  const Role role_;
  const std::string& definition_label_;
  const NetParameter& definition_;
  const std::string& weights_label_;
  NetParameter& weights_;
  std::map<std::string, int> weights_of_;       // Layers of weights_, by name.
  std::set<std::string> names_;                 // Of layers so far.
  std::vector<Version> versions_;               // The first is the input.
  std::map<std::string, std::size_t> current_;  // The last version of a blob, by name.
  Shape input_;
  std::int64_t values_ = 0;
  std::int64_t products_ = 0;
};

}  // namespace

CheckedNetwork::CheckedNetwork(Role role, const std::string& definition_label,
                               const NetParameter& definition, const std::string& weights_label,
                               std::unique_ptr<google::protobuf::Arena> weights_arena,
                               NetParameter& weights)
    : weights_arena_(std::move(weights_arena)),
      definition_(google::protobuf::Arena::CreateMessage<NetParameter>(arena_.get())),
      weights_(google::protobuf::Arena::CreateMessage<NetParameter>(weights_arena_.get())) {
  Checker checker(role, definition_label, definition, weights_label, weights);
  checker.run(*definition_, *weights_);
  input_ = checker.input();
  outputs_ = role == Role::kDense ? checker.output().channels : checker.output().count();
}

void CheckedNetwork::dropWeights() {
  weights_arena_ = std::make_unique<google::protobuf::Arena>();
  weights_ = google::protobuf::Arena::CreateMessage<NetParameter>(weights_arena_.get());
}

}  // namespace kit
