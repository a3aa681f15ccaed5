// Fuzz target: text definitions through the parser and the upgrade of the old layout.

#include <cstddef>
#include <cstdint>
#include <string>

#include "caffe/util/insert_splits.hpp"
#include "caffe/util/upgrade_proto.hpp"
#include "fuzz/harness.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ozna_fuzz::RunOrRefuse([&text] {
    caffe::NetParameter param;
    caffe::ReadNetParamsFromTextFile1(text, &param);
    caffe::NetParameter with_splits;
    caffe::InsertSplits(param, &with_splits);
  });
  return 0;
}
