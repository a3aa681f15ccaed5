/// A stage's network: built from its definition, with the weights of its file.

#ifndef OZNA_DETECTOR_TRAINED_NETWORK_H_
#define OZNA_DETECTOR_TRAINED_NETWORK_H_

#include <google/protobuf/arena.h>

#include <boost/shared_ptr.hpp>
#include <string>
#include <vector>

#include "caffe/net.hpp"

namespace oznalib {

/// For arenas of messages with weights, which are as large as those and go at the end of the load:
/// their memory comes from the system and goes back there. Of what it is given back, malloc keeps
/// some.
google::protobuf::ArenaOptions mappedBlocks();

/// Builds the network of a definition in the present layout. Parameters whose first values would be
/// drawn at random, millions of them, are zeros instead: copyTrained replaces them anyway.
///
/// Errors   as the constructor of caffe::Net.
boost::shared_ptr<caffe::Net<float>> buildUnfilled(const caffe::NetParameter& definition);

/// Copies weights into a network that buildUnfilled made of this definition. A layer that the
/// weights lack gets the first values that the definition asks for.
///
/// Errors   Sizes that are not the network's are fatal.
void copyTrained(const caffe::NetParameter& definition, const caffe::NetParameter& trained,
                 caffe::Net<float>& net);

/// The weights of a network by the names of its layers, without a copy: they live on without it.
struct TrainedLayer {
  std::string name;
  std::vector<boost::shared_ptr<const caffe::Blob<float>>> blobs;
};

/// net  Its weights are held once by all networks (Net::ShareAndRelease), so that no run changes
///      them.
std::vector<TrainedLayer> trainedLayers(const caffe::Net<float>& net);

/// Writes weights into a message that copyTrained takes. Threads  Any number, also beside runs.
void readTrained(const std::vector<TrainedLayer>& layers, caffe::NetParameter& trained);

/// Copies the weights of a binary file into a network that buildUnfilled made of this definition.
/// What the file lacks gets the first values that the definition asks for.
///
/// Errors   A file that is missing or malformed, or whose sizes are not the network's, is fatal.
void copyTrained(const caffe::NetParameter& definition, const std::string& weight_path,
                 caffe::Net<float>& net);

}  // namespace oznalib

#endif  // OZNA_DETECTOR_TRAINED_NETWORK_H_
