// Tests of the layer base.

#include "caffe/layer.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include "caffe/common_layers.hpp"
#include "caffe/data_layers.hpp"
#include "caffe/loss_layers.hpp"
#include "caffe/neuron_layers.hpp"
#include "caffe/vision_layers.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe {
namespace {

using caffe_test::DataOf;
using caffe_test::DiffOf;
using caffe_test::MakeLayer;
using caffe_test::ParseLayer;
using caffe_test::ScopedRuntimeState;
using caffe_test::SetData;
using caffe_test::SetDiff;
using caffe_test::ShapeOf;

const char kCarriedBlobs[] =
    "name: 'p' type: POWER top: 'y' "
    "blobs { num: 1 channels: 2 height: 1 width: 2 data: 1 data: 2 data: 3 data: 4 } "
    "blobs { num: 1 channels: 1 height: 1 width: 1 data: 5 diff: 6 }";

// Doubles its bottom; the gradient is the top's, tripled, so that the two directions differ.
class DoublingLayer : public Layer<float> {
 public:
  using Layer<float>::Layer;
  void SetUp(const vector<Blob<float>*>& bottom, vector<Blob<float>*>* top) override {
    (*top)[0]->Reshape(bottom[0]->num(), bottom[0]->channels(), bottom[0]->height(),
                       bottom[0]->width());
  }
  void SelfToProto() { ToProto(&layer_param_); }

 protected:
  float Forward_cpu(const vector<Blob<float>*>& bottom, vector<Blob<float>*>* top) override {
    for (int i = 0; i < bottom[0]->count(); ++i) {
      (*top)[0]->mutable_cpu_data()[i] = 2 * bottom[0]->cpu_data()[i];
    }
    return 0.25F;
  }
  void Backward_cpu(const vector<Blob<float>*>& top, bool propagate_down,
                    vector<Blob<float>*>* bottom) override {
    for (int i = 0; propagate_down && i < top[0]->count(); ++i) {
      (*bottom)[0]->mutable_cpu_diff()[i] = 3 * top[0]->cpu_diff()[i];
    }
  }
};

// A layer of its own between two blobs of two values.
struct Doubling {
  Doubling() : layer(LayerParameter()), x(1, 1, 1, 2), bottom{&x}, top{&y} {
    layer.SetUp(bottom, &top);
    SetData(&x, {1, -4});
    SetDiff(&y, {10, 20});
  }
  DoublingLayer layer;
  Blob<float> x;
  Blob<float> y;
  vector<Blob<float>*> bottom;
  vector<Blob<float>*> top;
};

TEST(Layer, HasNoBlobsIfTheDefinitionCarriesNone) {
  EXPECT_TRUE(MakeLayer("name: 'r' type: RELU")->blobs().empty());
}

TEST(Layer, TakesTheBlobsThatTheDefinitionCarries) {
  const std::unique_ptr<Layer<float>> layer = MakeLayer(kCarriedBlobs);
  ASSERT_EQ(2U, layer->blobs().size());
  EXPECT_EQ((std::vector<int>{1, 2, 1, 2}), ShapeOf(*layer->blobs()[0]));
  EXPECT_EQ((std::vector<float>{1, 2, 3, 4}), DataOf(*layer->blobs()[0]));
  EXPECT_EQ((std::vector<float>{5}), DataOf(*layer->blobs()[1]));
  EXPECT_EQ((std::vector<float>{6}), DiffOf(*layer->blobs()[1]));
}

TEST(Layer, KeepsACopyOfItsDefinition) {
  LayerParameter param = ParseLayer(kCarriedBlobs);
  const std::unique_ptr<Layer<float>> layer(GetLayer(param));
  const std::string text = param.DebugString();
  param.Clear();
  EXPECT_EQ(text, layer->layer_param().DebugString());
}

TEST(Layer, WritesItsDefinitionWithThePresentBlobs) {
  const std::unique_ptr<Layer<float>> layer = MakeLayer(kCarriedBlobs);
  SetData(layer->blobs()[0].get(), {7, 8, 9, 10});
  LayerParameter written = ParseLayer("name: 'former' bottom: 'former' blobs { num: 9 }");
  layer->ToProto(&written);
  EXPECT_EQ(ParseLayer("name: 'p' type: POWER top: 'y' "
                       "blobs { num: 1 channels: 2 height: 1 width: 2 "
                       "        data: 7 data: 8 data: 9 data: 10 } "
                       "blobs { num: 1 channels: 1 height: 1 width: 1 data: 5 }")
                .DebugString(),
            written.DebugString());
}

TEST(Layer, WritesGradientsOnDemand) {
  const std::unique_ptr<Layer<float>> layer = MakeLayer(kCarriedBlobs);
  LayerParameter written;
  layer->ToProto(&written, /*write_diff=*/true);
  ASSERT_EQ(4, written.blobs(0).diff_size());
  EXPECT_EQ(0.0F, written.blobs(0).diff(3));
  ASSERT_EQ(1, written.blobs(1).diff_size());
  EXPECT_EQ(6.0F, written.blobs(1).diff(0));
}

TEST(Layer, ClearsItsOwnDefinitionWhenItWritesIntoIt) {
  DoublingLayer layer(ParseLayer(kCarriedBlobs));
  layer.SelfToProto();
  EXPECT_FALSE(layer.layer_param().has_name());
  ASSERT_EQ(2, layer.layer_param().blobs_size());
  EXPECT_EQ(4.0F, layer.layer_param().blobs(0).data(3));
}

TEST(Layer, ReturnsTheLossOfForward) {
  Doubling doubling;
  EXPECT_EQ(0.25F, doubling.layer.Forward(doubling.bottom, &doubling.top));
}

TEST(Layer, RunsTheSameHostCodeInBothModes) {
  for (const Caffe::Brew mode : {Caffe::CPU, Caffe::GPU}) {
    ScopedRuntimeState scope(Caffe::TEST, mode);
    Doubling doubling;
    EXPECT_EQ(0.25F, doubling.layer.Forward(doubling.bottom, &doubling.top));
    EXPECT_EQ((std::vector<float>{2, -8}), DataOf(doubling.y));
    doubling.layer.Backward(doubling.top, /*propagate_down=*/true, &doubling.bottom);
    EXPECT_EQ((std::vector<float>{30, 60}), DiffOf(doubling.x));
  }
}

TEST(Layer, PassesOnWhetherToPropagateDown) {
  Doubling doubling;
  doubling.layer.Backward(doubling.top, /*propagate_down=*/false, &doubling.bottom);
  EXPECT_EQ((std::vector<float>{0, 0}), DiffOf(doubling.x));
}

TEST(Layer, LeavesItsTopAloneWhenTheInputShapeChanges) {
  Doubling doubling;
  doubling.x.OverwriteShape(1, 1, 1, 1);
  doubling.layer.AlterInputShape(1, 1, doubling.bottom, &doubling.top);
  doubling.layer.UpdateDerivedSizes();
  EXPECT_EQ((std::vector<int>{1, 1, 1, 2}), ShapeOf(doubling.y));
}

TEST(LayerDeathTest, EndsInAnUnknownMode) {
  ScopedRuntimeState scope(Caffe::TEST, static_cast<Caffe::Brew>(2));
  Doubling doubling;
  EXPECT_DEATH(doubling.layer.Forward(doubling.bottom, &doubling.top), "Unknown caffe mode.");
  EXPECT_DEATH(doubling.layer.Backward(doubling.top, true, &doubling.bottom),
               "Unknown caffe mode.");
}

TEST(LayerDeathTest, RefusesCarriedBlobsWithTooFewValues) {
  EXPECT_DEATH(MakeLayer("type: POWER blobs { num: 1 channels: 1 height: 2 width: 2 data: 1 }"),
               "expected 4, found 1");
}

}  // namespace
}  // namespace caffe
