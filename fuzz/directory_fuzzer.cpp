// Fuzz target: a whole model directory, loaded from files, and a search with it.

#include <google/protobuf/text_format.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <opencv2/core.hpp>
#include <random>
#include <string>
#include <vector>

#include "fuzz/directory_mutator.h"
#include "fuzz/harness.h"
#include "fuzz/small_models.h"
#include "ozna.h"

namespace {

constexpr int kSide = 20;

std::string* root;

void RemoveRoot() {
  std::error_code ignored;
  std::filesystem::remove_all(*root, ignored);
}

// Whether the definitions keep away from databases and endless work; see MakeHarmless.
bool IsHarmless(ozna_fuzz::Directory& directory) {
  for (int i = 0; i < ozna_fuzz::kDirectoryFiles; ++i) {
    caffe::NetParameter definition;
    std::string& text = directory[i];
    if (!ozna_fuzz::IsDefinition(i) ||
        !google::protobuf::TextFormat::ParseFromString(text, &definition)) {
      continue;
    }
    if (!ozna_fuzz::MakeHarmless(definition)) {
      return false;
    }
    google::protobuf::TextFormat::PrintToString(definition, &text);
  }
  return true;
}

void Search(const oznalib::Detector& detector) {
  static const std::vector<std::uint8_t> pixels = [] {
    std::vector<std::uint8_t> noise(3 * kSide * kSide);
    std::mt19937 engine(5);
    std::generate(noise.begin(), noise.end(), [&] { return engine() >> 24; });
    return noise;
  }();
  std::vector<oznalib::Detection> faces;
  const oznalib::CascadeParameter parameter = {1.0F, kSide, 0.3F, 2, 1.3F, 6};
  oznalib::detect({kSide, kSide, 0, pixels.data()}, detector, faces, parameter);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  root = new std::string("/dev/shm/ozna-fuzz-" + std::to_string(getpid()) + "/");
  std::atexit(RemoveRoot);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ozna_fuzz::Directory directory = ozna_fuzz::UnpackDirectory(data, size);
  if (!IsHarmless(directory)) {
    return 0;
  }
  ozna_fuzz::WriteDirectory(directory, *root);
  ozna_fuzz::RunOrRefuse([] {
    oznalib::Detector detector;
    const char* const root_text = root->c_str();
    const char* const list = ozna_fuzz::kDirectoryNames[0];
    if (detector.load(oznalib::DetectorParams(root_text, list)) != oznalib::StatusOk) {
      return;
    }
    try {
      Search(detector);
    } catch (const cv::Exception&) {
    }
  });
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned int seed) {
  return ozna_fuzz::MutateDirectory(data, size, max_size, seed);
}
