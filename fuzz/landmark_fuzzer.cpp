// Fuzz target: landmark model files, and the fit of a face with what was read. The way from a
// photograph to the window that is fitted, which no model has a say in, belongs to
// pixels_fuzzer.cpp: it takes a hundred times longer.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "alignment/general_unit.h"
#include "alignment/regression.h"
#include "alignment/sdm_model.h"
#include "fuzz/harness.h"
#include "fuzz/memory_file.h"
#include "ozna.h"

namespace {

constexpr int kSide = 14;

ozna_fuzz::MemoryFile* file;

// A point far outside of the face makes the image grow by a wide border. Very far ones are refused.
bool IsFar(float coordinate) { return std::fabs(coordinate) > 3 && std::fabs(coordinate) < 1000; }

// Sizes that a file may ask for, but that take longer than a fuzzer has.
bool IsQuick(const oznalib::SDMModel& model) {
  return model.meanShape.size() <= 8 && model.stageMaps.size() <= 3 && model.faceWidth <= 12 &&
         model.levelsPerOctave <= 4 &&
         std::none_of(model.meanShape.begin(), model.meanShape.end(), IsFar);
}

cv::Mat Noise() {
  cv::Mat noise(kSide, kSide, CV_8UC1);
  unsigned state = 1;
  for (int i = 0; i < kSide * kSide; ++i) {
    state = state * 1103515245 + 12345;
    noise.data[i] = static_cast<std::uint8_t>(state >> 24);
  }
  return noise;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  ozna_fuzz::LimitBlocks(std::size_t{1} << 15);
  file = new ozna_fuzz::MemoryFile;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  file->write(data, size);
  ozna_fuzz::RunOrRefuse([] {
    oznalib::loadSDMModel(ozna_fuzz::MemoryFile::directory(), file->name());
    const oznalib::SDMModel* const model = oznalib::globalSDMModel();
    if (model == nullptr || !IsQuick(*model)) {
      return;
    }
    static const cv::Mat noise = Noise();
    SDMCore::GeneralUnit unit;
    unit.image = noise.clone();
    unit.box = cv::Rect(2, 2, 9, 9);
    std::vector<float> points;
    try {
      points = oznalib::fitShape(*model, unit);
    } catch (const cv::Exception&) {
    }
    volatile float sum = 0;
    for (const float coordinate : points) {
      sum = sum + coordinate;
    }
  });
  oznalib::unloadSDMModel();
  return 0;
}
