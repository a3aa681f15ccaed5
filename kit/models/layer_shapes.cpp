// Ranges of parameters and shapes, one kind of layer after the other.

#include "kit/models/layer_shapes.h"

#include <cmath>

#include "kit/error.h"

namespace kit {
namespace {

using caffe::LayerParameter;

constexpr std::int64_t kMostOutputs = 65536;
constexpr std::int64_t kMostKernel = 255;
constexpr std::int64_t kMostWindow = 255;  // Channels of a normalisation.

// One layer while it is planned.
struct Planner {
  const std::string& where;
  const LayerParameter& layer;
  const std::vector<Shape>& bottoms;
  bool is_dense;
  LayerParameter& runtime;

  [[noreturn]] void fail(const std::string& expected, const std::string& found) const {
    throw Error(OZNAKIT_BAD_MODEL, where + ": expected " + expected + ", found " + found + ".");
  }

  void requireRange(const char* name, std::int64_t value, std::int64_t least,
                    std::int64_t most) const {
    if (value >= least && value <= most) return;
    fail(std::string(name) + " of " + std::to_string(least) + " to " + std::to_string(most),
         std::to_string(value));
  }

  void requireFinite(const char* name, float value) const {
    if (!std::isfinite(value)) fail(std::string("a finite ") + name, "another number");
  }

  void requireFits(const char* what, std::int64_t values) const {
    if (values <= kMostValues) return;
    fail(std::string(what) + " of at most " + std::to_string(kMostValues) + " values",
         std::to_string(values));
  }

  const Shape& onlyBottom() const {
    if (bottoms.size() != 1) fail("one input", std::to_string(bottoms.size()));
    return bottoms[0];
  }

  // A window that slides over padded sides. A sliding network must not grow what it slides over, so
  // that a picture which is too small for one layer is so for all behind it.
  void requireWindow(const Shape& bottom, std::int64_t kernel, std::int64_t pad,
                     std::int64_t stride) const {
    requireRange("kernel_size", kernel, 1, kMostKernel);
    requireRange("stride", stride, 1, kMostKernel);
    requireRange("pad", pad, 0, is_dense ? (kernel - 1) / 2 : kernel - 1);
    if (kernel > bottom.height + 2 * pad || kernel > bottom.width + 2 * pad) {
      fail("kernel_size within the padded input of " + std::to_string(bottom.width + 2 * pad) +
               " by " + std::to_string(bottom.height + 2 * pad),
           std::to_string(kernel));
    }
  }

  LayerPlan convolution() const {
    const Shape& bottom = onlyBottom();
    const caffe::ConvolutionParameter& param = layer.convolution_param();
    const std::int64_t outputs = param.num_output(), kernel = param.kernel_size();
    const std::int64_t group = param.group(), pad = param.pad(), stride = param.stride();
    requireRange("num_output", outputs, 1, kMostOutputs);
    requireWindow(bottom, kernel, pad, stride);
    requireRange("group", group, 1, is_dense ? 1 : kMostOutputs);
    if (bottom.channels % group != 0 || outputs % group != 0) {
      fail("group to divide " + std::to_string(bottom.channels) + " channels and " +
               std::to_string(outputs) + " outputs",
           std::to_string(group));
    }
    LayerPlan plan;
    plan.top = {outputs, (bottom.height + 2 * pad - kernel) / stride + 1,
                (bottom.width + 2 * pad - kernel) / stride + 1};
    const std::int64_t depth = bottom.channels / group * kernel * kernel;
    requireFits("weights", outputs * depth);
    const std::int64_t columns = bottom.channels * kernel * kernel;
    requireFits("a place's columns", columns);
    requireFits("columns", columns * plan.top.height * plan.top.width);
    plan.products = outputs * depth * plan.top.height * plan.top.width;
    plan.has_weights = true;
    plan.has_bias = param.bias_term();
    plan.weight_shape = {static_cast<int>(outputs), static_cast<int>(bottom.channels / group),
                         static_cast<int>(kernel), static_cast<int>(kernel)};
    plan.outputs = static_cast<int>(outputs);
    caffe::ConvolutionParameter& copy = *runtime.mutable_convolution_param();
    copy.set_num_output(param.num_output());
    copy.set_bias_term(param.bias_term());
    copy.set_pad(param.pad());
    copy.set_kernel_size(param.kernel_size());
    copy.set_group(param.group());
    copy.set_stride(param.stride());
    return plan;
  }

  LayerPlan innerProduct() const {
    const Shape& bottom = onlyBottom();
    const caffe::InnerProductParameter& param = layer.inner_product_param();
    const std::int64_t outputs = param.num_output();
    requireRange("num_output", outputs, 1, kMostOutputs);
    requireFits("weights", outputs * bottom.count());
    LayerPlan plan;
    plan.top = {outputs, 1, 1};
    plan.products = outputs * bottom.count();
    plan.has_weights = true;
    plan.has_bias = param.bias_term();
    plan.weight_shape = {1, 1, static_cast<int>(outputs), static_cast<int>(bottom.count())};
    plan.outputs = static_cast<int>(outputs);
    runtime.mutable_inner_product_param()->set_num_output(param.num_output());
    runtime.mutable_inner_product_param()->set_bias_term(param.bias_term());
    return plan;
  }

  LayerPlan pooling() const {
    const Shape& bottom = onlyBottom();
    const caffe::PoolingParameter& param = layer.pooling_param();
    const std::int64_t kernel = param.kernel_size(), stride = param.stride(), pad = param.pad();
    if (param.pool() == caffe::PoolingParameter::STOCHASTIC) {
      fail("pool MAX or AVE", "STOCHASTIC, which is for training");
    }
    requireWindow(bottom, kernel, pad, stride);
    requireRange("stride", stride, 1, kernel);
    if (param.pool() == caffe::PoolingParameter::MAX) requireRange("pad", pad, 0, 0);
    const auto cells = [&](std::int64_t side) {
      return (side + 2 * pad - kernel + stride - 1) / stride + 1;
    };
    LayerPlan plan;
    plan.top = {bottom.channels, cells(bottom.height), cells(bottom.width)};
    plan.products = plan.top.count() * kernel * kernel;
    *runtime.mutable_pooling_param() = param;
    return plan;
  }

  LayerPlan normalisation() const {
    const Shape& bottom = onlyBottom();
    const caffe::LRNParameter& param = layer.lrn_param();
    const std::int64_t window = param.local_size();
    requireRange("local_size", window, 1, kMostWindow);
    requireFinite("alpha", param.alpha());
    requireFinite("beta", param.beta());
    const bool is_within = param.norm_region() == caffe::LRNParameter::WITHIN_CHANNEL;
    if (is_within && is_dense) fail("norm_region ACROSS_CHANNELS", "WITHIN_CHANNEL");
    if (is_within && window % 2 == 0) fail("an odd local_size", std::to_string(window));
    requireFits("a normalisation", (bottom.channels + window) * bottom.height * bottom.width);
    LayerPlan plan;
    plan.top = bottom;
    plan.products = bottom.count() * (is_within ? window * window : 4);
    *runtime.mutable_lrn_param() = param;
    return plan;
  }

  LayerPlan softmax() const {
    const Shape& bottom = onlyBottom();
    if (bottom.channels < 2) {
      fail("an input of at least two channels", std::to_string(bottom.channels));
    }
    return samePlan(bottom);
  }

  LayerPlan concatenation() const {
    if (bottoms.size() < 2) fail("at least two inputs", std::to_string(bottoms.size()));
    const std::int64_t dimension = layer.concat_param().concat_dim();
    if (dimension != 1) fail("concat_dim 1, the channels", std::to_string(dimension));
    LayerPlan plan;
    plan.top = bottoms[0];
    for (std::size_t i = 1; i < bottoms.size(); ++i) {
      requireSameSides(bottoms[i]);
      plan.top.channels += bottoms[i].channels;
    }
    requireFits("an output", plan.top.count());
    return plan;
  }

  LayerPlan product() const {
    if (bottoms.size() < 2) fail("at least two inputs", std::to_string(bottoms.size()));
    for (const Shape& bottom : bottoms) {
      requireSameSides(bottom);
      if (bottom.channels != bottoms[0].channels) {
        fail("inputs of " + std::to_string(bottoms[0].channels) + " channels",
             std::to_string(bottom.channels));
      }
    }
    return samePlan(bottoms[0]);
  }

  void requireSameSides(const Shape& bottom) const {
    if (bottom.height == bottoms[0].height && bottom.width == bottoms[0].width) return;
    fail("inputs of " + std::to_string(bottoms[0].width) + " by " +
             std::to_string(bottoms[0].height),
         std::to_string(bottom.width) + " by " + std::to_string(bottom.height));
  }

  static LayerPlan samePlan(const Shape& bottom) {
    LayerPlan plan;
    plan.top = bottom;
    return plan;
  }

  LayerPlan flattening() const {
    LayerPlan plan;
    plan.top = {onlyBottom().count(), 1, 1};
    return plan;
  }

  LayerPlan power() const {
    const caffe::PowerParameter& param = layer.power_param();
    requireFinite("power", param.power());
    requireFinite("scale", param.scale());
    requireFinite("shift", param.shift());
    *runtime.mutable_power_param() = param;
    return samePlan(onlyBottom());
  }

  LayerPlan dropout() const {
    const float ratio = layer.dropout_param().dropout_ratio();
    if (!(ratio >= 0 && ratio < 1)) fail("dropout_ratio of 0 to below 1", "another number");
    runtime.mutable_dropout_param()->set_dropout_ratio(ratio);
    return samePlan(onlyBottom());
  }

  [[noreturn]] void refuseKind() const {
    const std::string found =
        layer.has_type() ? LayerParameter::LayerType_Name(layer.type()) : "an unknown one";
    fail(is_dense
             ? "a kind of layer that slides over pictures (CONVOLUTION, POOLING, LRN, SOFTMAX, or "
               "one that maps each value)"
             : "a kind of layer that a search can run",
         found);
  }

  LayerPlan plan() const {
    switch (layer.type()) {
      case LayerParameter::CONVOLUTION:
        return convolution();
      case LayerParameter::POOLING:
        return pooling();
      case LayerParameter::LRN:
        return normalisation();
      case LayerParameter::SOFTMAX:
        return softmax();
      case LayerParameter::POWER:
        return power();
      case LayerParameter::DROPOUT:
        return dropout();
      case LayerParameter::RELU:
      case LayerParameter::SIGMOID:
      case LayerParameter::TANH:
      case LayerParameter::BNLL:
        return samePlan(onlyBottom());
      default:
        break;
    }
    if (is_dense) refuseKind();
    switch (layer.type()) {
      case LayerParameter::INNER_PRODUCT:
        return innerProduct();
      case LayerParameter::CONCAT:
        return concatenation();
      case LayerParameter::FLATTEN:
        return flattening();
      case LayerParameter::ELTWISE_PRODUCT:
        return product();
      default:
        refuseKind();
    }
  }
};

}  // namespace

LayerPlan planLayer(const std::string& where, const LayerParameter& layer,
                    const std::vector<Shape>& bottoms, bool is_dense, LayerParameter& for_runtime) {
  const Planner planner = {where, layer, bottoms, is_dense, for_runtime};
  for_runtime.set_type(layer.type());
  const LayerPlan plan = planner.plan();
  planner.requireFits("an output", plan.top.count());
  return plan;
}

bool mapsEachValue(LayerParameter::LayerType type) {
  return type == LayerParameter::RELU || type == LayerParameter::SIGMOID ||
         type == LayerParameter::TANH || type == LayerParameter::BNLL ||
         type == LayerParameter::POWER || type == LayerParameter::DROPOUT;
}

}  // namespace kit
