/// The shape that a layer makes of its inputs, where the network runtime can run it.

#ifndef OZNA_KIT_MODELS_LAYER_SHAPES_H_
#define OZNA_KIT_MODELS_LAYER_SHAPES_H_

#include <cstdint>
#include <string>
#include <vector>

#include "caffe/proto/caffe.pb.h"

namespace kit {

/// Of the values of one image. Each side is at least 1, and there are at most kMostValues of them.
struct Shape {
  std::int64_t channels = 1;
  std::int64_t height = 1;
  std::int64_t width = 1;
  std::int64_t count() const { return channels * height * width; }
};

constexpr std::int64_t kMostValues = std::int64_t{1} << 26;

/// What a layer needs and gives.
struct LayerPlan {
  Shape top;
  std::int64_t products = 0;  ///< Multiplications of a run with weights.
  bool has_weights = false;
  bool has_bias = false;
  std::vector<int> weight_shape;  ///< Images, channels, rows, columns.
  int outputs = 0;                ///< Length of the bias.
};

/// Works out a layer and copies what its kind needs into one for the runtime, without names,
/// fillers or anything else that only a training reads.
///
/// where     Of the layer, for messages: "prototxt-deploy: layer \"conv1\"".
/// is_dense  Whether the network slides over pictures of all sizes.
/// Errors    Error with OZNAKIT_BAD_MODEL for a kind that a network cannot have here, a parameter
///           out of range, or inputs that do not fit.
LayerPlan planLayer(const std::string& where, const caffe::LayerParameter& layer,
                    const std::vector<Shape>& bottoms, bool is_dense,
                    caffe::LayerParameter& for_runtime);

/// Whether layers of a kind map each value by itself, so that they may work in place.
bool mapsEachValue(caffe::LayerParameter::LayerType type);

}  // namespace kit

#endif  // OZNA_KIT_MODELS_LAYER_SHAPES_H_
