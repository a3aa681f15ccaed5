// Mutation of text definitions by the fields of the schema.

#include "fuzz/definition_mutator.h"

#include <google/protobuf/text_format.h>

#include <algorithm>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "caffe/proto/caffe.pb.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace ozna_fuzz {

namespace {

using google::protobuf::FieldDescriptor;
using google::protobuf::Message;
using google::protobuf::Reflection;
using google::protobuf::TextFormat;

class Mutator {
 public:
  explicit Mutator(unsigned int seed) : engine_(seed) {}

  int Below(int bound) { return static_cast<int>(engine_() % bound); }
  bool OneIn(int count) { return Below(count) == 0; }

  void Mutate(caffe::NetParameter& net) {
    if (net.layers_size() > 0 && OneIn(4)) {
      MutateLayers(net);
      return;
    }
    std::vector<Message*> messages;
    Collect(net, messages);
    MutateField(*messages[Below(static_cast<int>(messages.size()))]);
  }

 private:
  static void Collect(Message& message, std::vector<Message*>& all) {
    all.push_back(&message);
    const Reflection* reflection = message.GetReflection();
    std::vector<const FieldDescriptor*> fields;
    reflection->ListFields(message, &fields);
    for (const FieldDescriptor* field : fields) {
      if (field->cpp_type() != FieldDescriptor::CPPTYPE_MESSAGE) {
        continue;
      }
      if (!field->is_repeated()) {
        Collect(*reflection->MutableMessage(&message, field), all);
        continue;
      }
      for (int i = 0; i < reflection->FieldSize(message, field); ++i) {
        Collect(*reflection->MutableRepeatedMessage(&message, field, i), all);
      }
    }
  }

  // Repeats, drops or moves a layer.
  void MutateLayers(caffe::NetParameter& net) {
    const int count = net.layers_size();
    const int at = Below(count);
    switch (Below(3)) {
      case 0:
        *net.add_layers() = caffe::LayerParameter(net.layers(at));
        return;
      case 1:
        net.mutable_layers()->DeleteSubrange(at, 1);
        return;
      default:
        net.mutable_layers()->SwapElements(at, Below(count));
    }
  }

  void MutateField(Message& message) {
    const auto* descriptor = message.GetDescriptor();
    const FieldDescriptor* field = descriptor->field(Below(descriptor->field_count()));
    const Reflection* reflection = message.GetReflection();
    if (field->is_repeated()) {
      MutateRepeated(message, field);
      return;
    }
    if (OneIn(5)) {
      reflection->ClearField(&message, field);
      return;
    }
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        reflection->SetInt32(&message, field, Integer());
        return;
      case FieldDescriptor::CPPTYPE_UINT32:
        reflection->SetUInt32(&message, field, static_cast<std::uint32_t>(Integer()));
        return;
      case FieldDescriptor::CPPTYPE_FLOAT:
        reflection->SetFloat(&message, field, Real());
        return;
      case FieldDescriptor::CPPTYPE_BOOL:
        reflection->SetBool(&message, field, OneIn(2));
        return;
      case FieldDescriptor::CPPTYPE_ENUM:
        reflection->SetEnum(&message, field,
                            field->enum_type()->value(Below(field->enum_type()->value_count())));
        return;
      case FieldDescriptor::CPPTYPE_STRING:
        reflection->SetString(&message, field, Name());
        return;
      case FieldDescriptor::CPPTYPE_MESSAGE:
        MutateField(*reflection->MutableMessage(&message, field));
        return;
      default:
        return;
    }
  }

  void MutateRepeated(Message& message, const FieldDescriptor* field) {
    const Reflection* reflection = message.GetReflection();
    const int size = reflection->FieldSize(message, field);
    if (size > 0 && OneIn(3)) {
      reflection->RemoveLast(&message, field);
      return;
    }
    const bool adds = size == 0 || OneIn(3);
    const int at = adds ? 0 : Below(size);
    switch (field->cpp_type()) {
      case FieldDescriptor::CPPTYPE_INT32:
        adds ? reflection->AddInt32(&message, field, Integer())
             : reflection->SetRepeatedInt32(&message, field, at, Integer());
        return;
      case FieldDescriptor::CPPTYPE_FLOAT:
        adds ? reflection->AddFloat(&message, field, Real())
             : reflection->SetRepeatedFloat(&message, field, at, Real());
        return;
      case FieldDescriptor::CPPTYPE_STRING:
        adds ? reflection->AddString(&message, field, Name())
             : reflection->SetRepeatedString(&message, field, at, Name());
        return;
      case FieldDescriptor::CPPTYPE_MESSAGE:
        MutateField(adds ? *reflection->AddMessage(&message, field)
                         : *reflection->MutableRepeatedMessage(&message, field, at));
        return;
      default:
        return;
    }
  }

  // Mostly sizes that a layer can work with, now and then those at the edges.
  int Integer() {
    static const int kEdges[] = {-1,
                                 0,
                                 1,
                                 127,
                                 128,
                                 255,
                                 256,
                                 1000,
                                 32768,
                                 46341,
                                 65535,
                                 65536,
                                 1 << 20,
                                 1 << 30,
                                 std::numeric_limits<int>::max(),
                                 std::numeric_limits<int>::min()};
    return OneIn(4) ? kEdges[Below(std::size(kEdges))] : Below(9);
  }

  float Real() {
    static const float kEdges[] = {0.F,
                                   -0.F,
                                   1.F,
                                   -1.F,
                                   1e-45F,
                                   1e-30F,
                                   1e30F,
                                   std::numeric_limits<float>::infinity(),
                                   -std::numeric_limits<float>::infinity(),
                                   std::numeric_limits<float>::quiet_NaN()};
    return OneIn(2) ? kEdges[Below(std::size(kEdges))] : static_cast<float>(Below(200) - 100) / 20;
  }

  // The names that the seeds use, so that blobs find each other.
  std::string Name() {
    static const char* const kNames[] = {"data",
                                         "label",
                                         "a",
                                         "b",
                                         "c",
                                         "conv",
                                         "ip",
                                         "xavier",
                                         "uniform",
                                         "gaussian",
                                         "pool",
                                         "relu",
                                         "constant",
                                         "padding",
                                         "",
                                         "images",
                                         "positive_unitball"};
    return kNames[Below(std::size(kNames))];
  }

  std::mt19937 engine_;
};

}  // namespace

std::size_t MutateDefinition(std::uint8_t* data, std::size_t size, std::size_t max_size,
                             unsigned int seed) {
  Mutator mutator(seed);
  caffe::NetParameter net;
  const std::string text(reinterpret_cast<const char*>(data), size);
  if (mutator.OneIn(20) || !TextFormat::ParseFromString(text, &net)) {
    return LLVMFuzzerMutate(data, size, max_size);
  }
  for (int rounds = 1 + mutator.Below(3); rounds > 0; --rounds) {
    mutator.Mutate(net);
  }
  std::string mutated;
  TextFormat::PrintToString(net, &mutated);
  if (mutated.size() > max_size) {
    return LLVMFuzzerMutate(data, size, max_size);
  }
  std::copy(mutated.begin(), mutated.end(), data);
  return mutated.size();
}

}  // namespace ozna_fuzz
