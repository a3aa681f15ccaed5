/// A network of a cascade that the runtime can build and run whatever picture it gets.

#ifndef OZNA_KIT_MODELS_CHECKED_NETWORK_H_
#define OZNA_KIT_MODELS_CHECKED_NETWORK_H_

#include <google/protobuf/arena.h>

#include <cstdint>
#include <memory>
#include <string>

#include "caffe/proto/caffe.pb.h"
#include "kit/models/layer_shapes.h"

namespace kit {

/// The messages that the runtime is handed.
///
/// Layers and blobs have names of their own ("layer3", "blob3"), so that no name in a file meets
/// one that the runtime makes up; the output alone keeps its name.
class CheckedNetwork {
 public:
  /// What the network is for.
  enum class Role {
    kDense,        ///< Slides over the picture and gives a map of probabilities.
    kJudge,        ///< Gives two probabilities for a box.
    kCalibration,  ///< Gives a probability for each pattern of the table.
  };

  /// Checks both messages through to the last weight.
  ///
  /// labels         Of the files, for messages.
  /// weights_arena  Holds weights, whose values are moved and not copied.
  /// Errors         Error with OZNAKIT_BAD_MODEL.
  CheckedNetwork(Role role, const std::string& definition_label,
                 const caffe::NetParameter& definition, const std::string& weights_label,
                 std::unique_ptr<google::protobuf::Arena> weights_arena,
                 caffe::NetParameter& weights);

  const caffe::NetParameter& definition() const { return *definition_; }
  /// Empty after dropWeights.
  const caffe::NetParameter& weights() const { return *weights_; }
  void dropWeights();
  const Shape& input() const { return input_; }
  /// Values of the output; of a dense network, its planes.
  std::int64_t outputs() const { return outputs_; }

 private:
  // Arenas leave nothing behind where the memory ends.
  std::unique_ptr<google::protobuf::Arena> arena_ = std::make_unique<google::protobuf::Arena>();
  std::unique_ptr<google::protobuf::Arena> weights_arena_;
  caffe::NetParameter* definition_;
  caffe::NetParameter* weights_;
  Shape input_;
  std::int64_t outputs_ = 0;
};

}  // namespace kit

#endif  // OZNA_KIT_MODELS_CHECKED_NETWORK_H_
