/// Reading of network definitions and trained networks, with the upgrade of the old layout.

#ifndef CAFFE_UTIL_UPGRADE_PROTO_HPP_
#define CAFFE_UTIL_UPGRADE_PROTO_HPP_

#include <string>

#include "caffe/proto/caffe.pb.h"

namespace caffe {

/// Reads a definition from a text file, upgraded as needed. Failure is fatal.
void ReadNetParamsFromTextFile(const std::string& param_file, NetParameter* param);

/// Reads a definition from the text itself, upgraded as needed. Failure is fatal.
void ReadNetParamsFromTextFile1(const std::string& param_text, NetParameter* param);

/// Reads a trained network from a binary file, upgraded as needed. Failure is fatal.
void ReadNetParamsFromBinaryFile(const std::string& param_file, NetParameter* param);

/// Whether any layer is in the old layout.
bool NetNeedsUpgrade(const NetParameter& param);

/// Brings a network from the old layout to the present one. Returns whether everything was carried
/// over; what was not stands in the error log.
bool UpgradeV0Net(const NetParameter& v0_net_param, NetParameter* net_param);

/// Removes layers of the old type "padding" and moves their pad into the convolution after them.
void UpgradeV0PaddingLayers(const NetParameter& param, NetParameter* param_upgraded_pad);

/// Brings one layer to the present layout. Returns whether everything was carried over.
bool UpgradeLayerParameter(const LayerParameter& v0_layer, LayerParameter* layer_param);

/// The layer type of an old type text; an unknown text is fatal.
LayerParameter::LayerType UpgradeLayerType(const std::string& type);

}  // namespace caffe

#endif  // CAFFE_UTIL_UPGRADE_PROTO_HPP_
