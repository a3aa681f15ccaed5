// Fuzz target: the check of a set of model files in the kit, and a search with whatever it takes.
// No check of the runtime may be met by then: one that is counts as a finding.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "fuzz/directory_mutator.h"
#include "fuzz/harness.h"
#include "fuzz/small_models.h"
#include "kit/oznakit.h"

namespace {

constexpr int kSide = 40;
constexpr int kMostPauses = 400;  // A cascade that takes every box for a face runs for long.

// Ends with a signal, which neither a handler of refusals nor one of exits takes for its own.
[[noreturn]] void find(const char* what) {
  std::fprintf(stderr, "%s: %s\n", what, oznakit_last_message());
  std::abort();
}

std::int32_t goOn(float /*done*/, void* context) {
  return ++*static_cast<int*>(context) < kMostPauses;
}

void search(oznakit_finder* finder) {
  static const std::vector<std::uint8_t> pixels = [] {
    std::vector<std::uint8_t> noise(3 * kSide * kSide);
    std::mt19937 engine(5);
    std::generate(noise.begin(), noise.end(), [&] { return engine() >> 24; });
    return noise;
  }();
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  image.pixels = pixels.data();
  image.width = kSide;
  image.height = kSide - 3;
  image.row_bytes = 3 * kSide;
  int pauses = 0;
  oznakit_search_options options = OZNAKIT_SEARCH_OPTIONS_INIT;
  const oznakit_scan scan = {1, 24, 0.3F, 3, 1.3F, 6};
  options.progress = goOn;
  options.context = &pauses;
  for (const bool in_tiles : {false, true}) {
    options.scan = in_tiles ? nullptr : &scan;
    options.min_face_px = in_tiles ? 8 : 0;
    oznakit_faces* faces = nullptr;
    if (oznakit_finder_find(finder, &image, &options, &faces) == OZNAKIT_INTERNAL) {
      find("a search");
    }
    oznakit_faces_free(faces);
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ozna_fuzz::Directory directory = ozna_fuzz::UnpackDirectory(data, size);
  std::vector<oznakit_file> files;
  for (int i = 0; i < ozna_fuzz::kDirectoryFiles; ++i) {
    files.push_back({ozna_fuzz::kDirectoryNames[i], directory[i].data(), directory[i].size()});
  }
  oznakit_model_options options = OZNAKIT_MODEL_OPTIONS_INIT;
  options.files = files.data();
  options.file_count = files.size();
  options.parts = OZNAKIT_DETECTION;
  oznakit_finder* finder = nullptr;
  const oznakit_status status = oznakit_finder_open(&options, &finder);
  if (status == OZNAKIT_INTERNAL || status == OZNAKIT_BAD_ARGUMENT) find("an open");
  if (status == OZNAKIT_OK) search(finder);
  oznakit_finder_close(finder);
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned int seed) {
  return ozna_fuzz::MutateDirectory(data, size, max_size, seed);
}
