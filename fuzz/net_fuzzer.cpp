// Fuzz target: networks from text definitions, built, run, resized and run in the fast mode.

#include <google/protobuf/text_format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "caffe/net.hpp"
#include "caffe/util/upgrade_proto.hpp"
#include "fuzz/definition_mutator.h"
#include "fuzz/harness.h"

namespace {

using caffe::Blob;
using caffe::Net;
using caffe::NetParameter;

void FillInputs(const Net<float>& net) {
  for (Blob<float>* blob : net.input_blobs()) {
    float* values = blob->mutable_cpu_data();
    for (int i = 0; i < blob->count(); ++i) {
      values[i] = static_cast<float>(i % 7) - 2;
    }
  }
}

// Reads all results, so that the address sanitizer sees whether they are there.
void ReadOutputs(const Net<float>& net) {
  volatile float sum = 0;
  for (const Blob<float>* blob : net.output_blobs()) {
    const float* values = blob->cpu_data();
    for (int i = 0; i < blob->count(); ++i) {
      sum = sum + values[i];
    }
  }
}

// The rule that the caller of AlterInputShape keeps, as the detector does: every layer has an
// output, and nothing grew beyond the memory and the corrections of construction.
bool MayRun(const Net<float>& net) {
  for (const auto& blob : net.blobs()) {
    const bool is_empty =
        blob->num() <= 0 || blob->channels() <= 0 || blob->height() <= 0 || blob->width() <= 0;
    if (is_empty || blob->count() * sizeof(float) > blob->data()->size()) {
      return false;
    }
  }
  const std::vector<Blob<float>*>& tops = net.top_vecs()[0];
  return std::all_of(tops.begin(), tops.end(), [&net](const Blob<float>* top) {
    return top->count() <= net.first_run_count();
  });
}

void RunPlain(const NetParameter& definition) {
  Net<float> net(definition);
  FillInputs(net);
  net.ForwardAll();
  ReadOutputs(net);
  NetParameter dump;
  for (const auto& layer : net.layers()) {
    layer->ToProto(dump.add_layers());
  }
  net.CopyTrainedLayersFrom(dump);
  net.ForwardAll();
}

void RunFast(const NetParameter& definition) {
  Net<float> net(definition);
  if (net.input_blobs().empty() || net.firstConvLayerIndex() != 0) {
    return;
  }
  net.FirstRun();
  const int width = net.input_blobs()[0]->width();
  const int height = net.input_blobs()[0]->height();
  for (const int part : {1, 2, 3}) {
    net.AlterInputShape(width / part, height / part);
    if (!MayRun(net)) {
      return;
    }
    FillInputs(net);
    net.FF();
    ReadOutputs(net);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  NetParameter definition;
  bool is_harmless = false;
  ozna_fuzz::RunOrRefuse([&] {
    caffe::ReadNetParamsFromTextFile1(text, &definition);
    is_harmless = ozna_fuzz::MakeHarmless(definition);
  });
  if (!is_harmless) {
    return 0;
  }
  for (const auto phase : {caffe::Caffe::TEST, caffe::Caffe::TRAIN}) {
    caffe::Caffe::set_phase(phase);
    caffe::Caffe::set_random_seed(1);
    ozna_fuzz::RunOrRefuse([&] { RunPlain(definition); });
  }
  caffe::Caffe::set_phase(caffe::Caffe::TEST);
  ozna_fuzz::RunOrRefuse([&] { RunFast(definition); });
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned int seed) {
  return ozna_fuzz::MutateDefinition(data, size, max_size, seed);
}
