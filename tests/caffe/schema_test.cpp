// Tests of the schema: every message, field, number, label, type, default and enumeration.

#include <google/protobuf/descriptor.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "caffe/proto/caffe.pb.h"

namespace caffe {
namespace {

using google::protobuf::Descriptor;
using google::protobuf::EnumDescriptor;
using google::protobuf::FieldDescriptor;
using google::protobuf::FileDescriptor;

// One line per field, in the order of declaration: number, name, type, label, default ("-" for
// none).
const char kMessages[] = R"(message BlobProto
  1 num int32 optional 0
  2 channels int32 optional 0
  3 height int32 optional 0
  4 width int32 optional 0
  5 data float repeated -
  6 diff float repeated -
message BlobProtoVector
  1 blobs BlobProto repeated -
message Datum
  1 channels int32 optional -
  2 height int32 optional -
  3 width int32 optional -
  4 data bytes optional -
  5 label int32 optional -
  6 float_data float repeated -
message FillerParameter
  1 type string optional constant
  2 value float optional 0
  3 min float optional 0
  4 max float optional 1
  5 mean float optional 0
  6 std float optional 1
  7 sparse int32 optional -1
message NetParameter
  1 name string optional -
  2 layers LayerParameter repeated -
  3 input string repeated -
  4 input_dim int32 repeated -
  5 force_backward bool optional false
message SolverParameter
  1 train_net string optional -
  2 test_net string optional -
  3 test_iter int32 optional 0
  4 test_interval int32 optional 0
  19 test_compute_loss bool optional false
  5 base_lr float optional -
  6 display int32 optional -
  7 max_iter int32 optional -
  8 lr_policy string optional -
  9 gamma float optional -
  10 power float optional -
  11 momentum float optional -
  12 weight_decay float optional -
  13 stepsize int32 optional -
  14 snapshot int32 optional 0
  15 snapshot_prefix string optional -
  16 snapshot_diff bool optional false
  17 solver_mode SolverParameter.SolverMode optional GPU
  18 device_id int32 optional 0
  20 random_seed int64 optional -1
message SolverState
  1 iter int32 optional -
  2 learned_net string optional -
  3 history BlobProto repeated -
message LayerParameter
  2 bottom string repeated -
  3 top string repeated -
  4 name string optional -
  5 type LayerParameter.LayerType optional -
  6 blobs BlobProto repeated -
  7 blobs_lr float repeated -
  8 weight_decay float repeated -
  9 concat_param ConcatParameter optional -
  10 convolution_param ConvolutionParameter optional -
  11 data_param DataParameter optional -
  12 dropout_param DropoutParameter optional -
  13 hdf5_data_param HDF5DataParameter optional -
  14 hdf5_output_param HDF5OutputParameter optional -
  15 image_data_param ImageDataParameter optional -
  16 infogain_loss_param InfogainLossParameter optional -
  17 inner_product_param InnerProductParameter optional -
  18 lrn_param LRNParameter optional -
  22 memory_data_param MemoryDataParameter optional -
  19 pooling_param PoolingParameter optional -
  21 power_param PowerParameter optional -
  20 window_data_param WindowDataParameter optional -
  1 layer V0LayerParameter optional -
message ConcatParameter
  1 concat_dim uint32 optional 1
message ConvolutionParameter
  1 num_output uint32 optional -
  2 bias_term bool optional true
  3 pad uint32 optional 0
  4 kernel_size uint32 optional -
  5 group uint32 optional 1
  6 stride uint32 optional 1
  7 weight_filler FillerParameter optional -
  8 bias_filler FillerParameter optional -
message DataParameter
  1 source string optional -
  2 scale float optional 1
  3 mean_file string optional -
  4 batch_size uint32 optional -
  5 crop_size uint32 optional 0
  6 mirror bool optional false
  7 rand_skip uint32 optional 0
message DropoutParameter
  1 dropout_ratio float optional 0.5
message HDF5DataParameter
  1 source string optional -
  2 batch_size uint32 optional -
message HDF5OutputParameter
  1 file_name string optional -
message ImageDataParameter
  1 source string optional -
  2 scale float optional 1
  3 mean_file string optional -
  4 batch_size uint32 optional -
  5 crop_size uint32 optional 0
  6 mirror bool optional false
  7 rand_skip uint32 optional 0
  8 shuffle bool optional false
  9 new_height uint32 optional 0
  10 new_width uint32 optional 0
message InfogainLossParameter
  1 source string optional -
message InnerProductParameter
  1 num_output uint32 optional -
  2 bias_term bool optional true
  3 weight_filler FillerParameter optional -
  4 bias_filler FillerParameter optional -
message LRNParameter
  1 local_size uint32 optional 5
  2 alpha float optional 1
  3 beta float optional 0.75
  4 norm_region LRNParameter.NormRegion optional ACROSS_CHANNELS
message MemoryDataParameter
  1 batch_size uint32 optional -
  2 channels uint32 optional -
  3 height uint32 optional -
  4 width uint32 optional -
message PoolingParameter
  1 pool PoolingParameter.PoolMethod optional MAX
  2 kernel_size uint32 optional -
  3 stride uint32 optional 1
  4 pad uint32 optional 0
message PowerParameter
  1 power float optional 1
  2 scale float optional 1
  3 shift float optional 0
message WindowDataParameter
  1 source string optional -
  2 scale float optional 1
  3 mean_file string optional -
  4 batch_size uint32 optional -
  5 crop_size uint32 optional 0
  6 mirror bool optional false
  7 fg_threshold float optional 0.5
  8 bg_threshold float optional 0.5
  9 fg_fraction float optional 0.25
  10 context_pad uint32 optional 0
  11 crop_mode string optional warp
message V0LayerParameter
  1 name string optional -
  2 type string optional -
  3 num_output uint32 optional -
  4 biasterm bool optional true
  5 weight_filler FillerParameter optional -
  6 bias_filler FillerParameter optional -
  7 pad uint32 optional 0
  8 kernelsize uint32 optional -
  9 group uint32 optional 1
  10 stride uint32 optional 1
  11 pool V0LayerParameter.PoolMethod optional MAX
  12 dropout_ratio float optional 0.5
  13 local_size uint32 optional 5
  14 alpha float optional 1
  15 beta float optional 0.75
  16 source string optional -
  17 scale float optional 1
  18 meanfile string optional -
  19 batchsize uint32 optional -
  20 cropsize uint32 optional 0
  21 mirror bool optional false
  50 blobs BlobProto repeated -
  51 blobs_lr float repeated -
  52 weight_decay float repeated -
  53 rand_skip uint32 optional 0
  54 det_fg_threshold float optional 0.5
  55 det_bg_threshold float optional 0.5
  56 det_fg_fraction float optional 0.25
  58 det_context_pad uint32 optional 0
  59 det_crop_mode string optional warp
  60 new_num int32 optional 0
  61 new_channels int32 optional 0
  62 new_height int32 optional 0
  63 new_width int32 optional 0
  64 shuffle_images bool optional false
  65 concat_dim uint32 optional 1
  1001 hdf5_output_param HDF5OutputParameter optional -
)";

// One line per value, in the order of declaration: name, number.
const char kEnumerations[] = R"(enum SolverParameter.SolverMode
  CPU 0
  GPU 1
enum LayerParameter.LayerType
  NONE 0
  ACCURACY 1
  BNLL 2
  CONCAT 3
  CONVOLUTION 4
  DATA 5
  DROPOUT 6
  EUCLIDEAN_LOSS 7
  ELTWISE_PRODUCT 25
  FLATTEN 8
  HDF5_DATA 9
  HDF5_OUTPUT 10
  HINGE_LOSS 28
  IM2COL 11
  IMAGE_DATA 12
  INFOGAIN_LOSS 13
  INNER_PRODUCT 14
  LRN 15
  MEMORY_DATA 29
  MULTINOMIAL_LOGISTIC_LOSS 16
  POOLING 17
  POWER 26
  RELU 18
  SIGMOID 19
  SIGMOID_CROSS_ENTROPY_LOSS 27
  SOFTMAX 20
  SOFTMAX_LOSS 21
  SPLIT 22
  TANH 23
  WINDOW_DATA 24
enum LRNParameter.NormRegion
  ACROSS_CHANNELS 0
  WITHIN_CHANNEL 1
enum PoolingParameter.PoolMethod
  MAX 0
  AVE 1
  STOCHASTIC 2
enum V0LayerParameter.PoolMethod
  MAX 0
  AVE 1
  STOCHASTIC 2
)";

// The name without the package.
std::string ShortName(const std::string& full_name) { return full_name.substr(6); }

std::string TypeOf(const FieldDescriptor& field) {
  if (field.message_type() != nullptr) {
    return ShortName(field.message_type()->full_name());
  }
  return field.enum_type() != nullptr ? ShortName(field.enum_type()->full_name())
                                      : field.type_name();
}

std::string DefaultOf(const FieldDescriptor& field) {
  if (!field.has_default_value()) {
    return "-";
  }
  std::ostringstream text;
  text.imbue(std::locale::classic());
  switch (field.cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      text << field.default_value_int32();
      break;
    case FieldDescriptor::CPPTYPE_INT64:
      text << field.default_value_int64();
      break;
    case FieldDescriptor::CPPTYPE_UINT32:
      text << field.default_value_uint32();
      break;
    case FieldDescriptor::CPPTYPE_FLOAT:
      text << field.default_value_float();
      break;
    case FieldDescriptor::CPPTYPE_BOOL:
      text << (field.default_value_bool() ? "true" : "false");
      break;
    case FieldDescriptor::CPPTYPE_STRING:
      text << field.default_value_string();
      break;
    case FieldDescriptor::CPPTYPE_ENUM:
      text << field.default_value_enum()->name();
      break;
    default:
      text << "of a type that the schema does not use";
  }
  return text.str();
}

std::string Describe(const Descriptor& message) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << "message " << message.name() << "\n";
  for (int i = 0; i < message.field_count(); ++i) {
    const FieldDescriptor& field = *message.field(i);
    text << "  " << field.number() << " " << field.name() << " " << TypeOf(field) << " "
         << (field.is_repeated() ? "repeated" : "optional") << " " << DefaultOf(field) << "\n";
  }
  return text.str();
}

std::string Describe(const EnumDescriptor& enumeration) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << "enum " << ShortName(enumeration.full_name()) << "\n";
  for (int i = 0; i < enumeration.value_count(); ++i) {
    text << "  " << enumeration.value(i)->name() << " " << enumeration.value(i)->number() << "\n";
  }
  return text.str();
}

const FileDescriptor& Schema() { return *NetParameter::descriptor()->file(); }

TEST(Schema, IsProto2OfPackageCaffe) {
  EXPECT_EQ("caffe/proto/caffe.proto", Schema().name());
  EXPECT_EQ("caffe", Schema().package());
  EXPECT_EQ(FileDescriptor::SYNTAX_PROTO2, Schema().syntax());
}

TEST(Schema, HasExactlyTheListedMessagesAndFields) {
  std::string described;
  for (int i = 0; i < Schema().message_type_count(); ++i) {
    described += Describe(*Schema().message_type(i));
  }
  EXPECT_EQ(kMessages, described);
}

TEST(Schema, HasExactlyTheListedEnumerations) {
  std::string described;
  EXPECT_EQ(0, Schema().enum_type_count());
  for (int i = 0; i < Schema().message_type_count(); ++i) {
    const Descriptor& message = *Schema().message_type(i);
    for (int j = 0; j < message.enum_type_count(); ++j) {
      described += Describe(*message.enum_type(j));
    }
  }
  EXPECT_EQ(kEnumerations, described);
}

TEST(Schema, PacksTheValuesOfABlobAndNothingElse) {
  for (int i = 0; i < Schema().message_type_count(); ++i) {
    const Descriptor& message = *Schema().message_type(i);
    for (int j = 0; j < message.field_count(); ++j) {
      const FieldDescriptor& field = *message.field(j);
      const bool of_blob = message.name() == "BlobProto" && field.number() >= 5;
      EXPECT_EQ(of_blob, field.is_packed()) << field.full_name();
    }
  }
}

TEST(Schema, WritesLayerTypesByNumber) {
  // Field 5, type varint (tag 40), value 25: the number, not the position among the values.
  LayerParameter layer;
  layer.set_type(LayerParameter::ELTWISE_PRODUCT);
  EXPECT_EQ(std::string("\x28\x19"), layer.SerializeAsString());
}

TEST(Schema, ReadsLayerTypesByNameInText) {
  LayerParameter layer;
  ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString("type: MEMORY_DATA", &layer));
  EXPECT_EQ(29, layer.type());
}

TEST(Schema, TakesALayerTypeThatItLacksForAbsent) {
  LayerParameter layer;
  ASSERT_TRUE(layer.ParseFromString(std::string("\x28\x1e")));  // Type 30.
  EXPECT_FALSE(layer.has_type());
  EXPECT_EQ(LayerParameter::NONE, layer.type());
}

TEST(Schema, ReadsUnpackedValuesOfABlobToo) {
  // Field 5 as two single floats: tag 45 (wire type 5), then 1.0f and 2.0f.
  BlobProto blob;
  ASSERT_TRUE(blob.ParseFromString(std::string("\x2d\x00\x00\x80\x3f\x2d\x00\x00\x00\x40", 10)));
  ASSERT_EQ(2, blob.data_size());
  EXPECT_EQ(1.0F, blob.data(0));
  EXPECT_EQ(2.0F, blob.data(1));
}

TEST(Schema, ParsesASolverDefinition) {
  SolverParameter solver;
  ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(
      "train_net: 'a' base_lr: 0.01 lr_policy: 'step' random_seed: 1701", &solver));
  EXPECT_EQ(SolverParameter::GPU, solver.solver_mode());
  EXPECT_EQ(1701, solver.random_seed());
}

TEST(Schema, SkipsUnknownFieldsOfBinaryFiles) {
  NetParameter net;
  // Field 99 of bytes, then the name.
  ASSERT_TRUE(net.ParseFromString(std::string("\x9a\x06\x02xx\x0a\x01n", 8)));
  EXPECT_EQ("n", net.name());
}

}  // namespace
}  // namespace caffe
