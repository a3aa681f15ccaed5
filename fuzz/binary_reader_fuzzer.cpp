// Fuzz target: binary networks through the reader of files, the upgrade of the old layout and the
// copying of trained values into a network.

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "caffe/net.hpp"
#include "caffe/util/upgrade_proto.hpp"
#include "fuzz/harness.h"

namespace {

// The names, types and shapes are those of the network that make_corpus writes as a binary seed.
const char* const kTarget =
    "name: 'target' input: 'data' input_dim: 1 input_dim: 2 input_dim: 5 input_dim: 5 "
    "layers { name: 'conv' type: CONVOLUTION bottom: 'data' top: 'conv' "
    "convolution_param { num_output: 2 kernel_size: 3 } } "
    "layers { name: 'ip' type: INNER_PRODUCT bottom: 'conv' top: 'ip' "
    "inner_product_param { num_output: 2 } }";

int file = -1;
std::string path;

void WriteFile(const std::uint8_t* data, std::size_t size) {
  if (ftruncate(file, 0) != 0 || pwrite(file, data, size, 0) != static_cast<ssize_t>(size)) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  file = memfd_create("network", 0);
  path = "/proc/self/fd/" + std::to_string(file);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  WriteFile(data, size);
  ozna_fuzz::RunOrRefuse([] {
    caffe::NetParameter param;
    caffe::ReadNetParamsFromBinaryFile(path, &param);
    caffe::Net<float> net(caffe::FromText(), kTarget);
    net.CopyTrainedLayersFrom(param);
    net.ForwardAll();
  });
  return 0;
}
