// Fuzz target: the pixel interface. Sizes, strides and search parameters of detect, sizes and
// rectangles of the alignment, with pixels that end where a page does that nobody may read: the
// image library has no sanitizer in it.

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "fuzz/guarded_pixels.h"
#include "fuzz/harness.h"
#include "fuzz/memory_file.h"
#include "fuzz/small_models.h"
#include "ozna.h"

namespace {

using ozna_fuzz::GuardedBlock;
using ozna_fuzz::Input;

GuardedBlock* block;
oznalib::Detector* detector;

// A working image, or a level of the pyramid, that the image library would take seconds for. Those
// beyond every memory are refused at once, and are no trouble.
bool IsEndless(const oznalib::Image& image, const oznalib::CascadeParameter& parameter) {
  const double longer = std::max(image.width, image.height);
  const double ratio = static_cast<double>(parameter.maxImageSide) / longer;
  const double scale = parameter.windowSize /
                       std::trunc(static_cast<double>(parameter.maxImageSide) *
                                  static_cast<double>(parameter.minFaceFraction)) *
                       (ratio < 1 ? ratio : std::min<double>(parameter.maxUpscale, ratio));
  double pixels = scale * scale * image.width * image.height;
  const double factor = std::fabs(parameter.pyramidFactor);
  if (factor < 1 && parameter.pyramidLevels > 0) {
    pixels *= std::pow(factor, -2.0 * parameter.pyramidLevels);
  }
  return pixels > 1e6;
}

void RunDetect(Input input) {
  oznalib::Image image = {input.take<std::uint8_t>(), input.take<std::uint8_t>(), 0, nullptr};
  const int padding = input.take<std::int8_t>();
  oznalib::CascadeParameter parameter;
  parameter.maxUpscale = input.take<float>();
  parameter.maxImageSide = input.take<std::int32_t>();
  parameter.minFaceFraction = input.take<float>();
  parameter.pyramidLevels = input.take<std::int8_t>();
  parameter.pyramidFactor = input.take<float>();
  parameter.windowSize = input.take<std::int32_t>();
  if (IsEndless(image, parameter)) {
    return;
  }
  // A stride below the row's length is a mistake of the caller that the interface cannot see
  // through, except for none at all.
  const std::size_t row = 3 * static_cast<std::size_t>(image.width);
  image.stride = padding <= 0 ? 0 : static_cast<std::int32_t>(row) + padding;
  const std::size_t stride = image.stride == 0 ? row : static_cast<std::size_t>(image.stride);
  const std::size_t bytes =
      image.width == 0 || image.height == 0 ? 0 : stride * (image.height - 1) + row;
  image.data = block->last(bytes);
  input.fill(block->last(bytes), bytes);
  std::vector<oznalib::Detection> faces;
  try {
    oznalib::detect(image, *detector, faces, parameter);
  } catch (const cv::Exception&) {
  }
}

void RunAlign(Input input) {
  const oznalib::Image image = {input.take<std::uint8_t>(), input.take<std::uint8_t>(),
                                input.take<std::int32_t>(), nullptr};
  oznalib::Rectangle<float> rect = {};
  float* const edges[] = {&rect.left, &rect.top, &rect.right, &rect.bottom};
  // Edges near the image, in quarters of a pixel, or any number at all.
  const bool is_near = input.take<std::uint8_t>() % 4 != 0;
  for (float* const edge : edges) {
    *edge = is_near ? static_cast<float>(input.take<std::int16_t>()) / 4 : input.take<float>();
  }
  const bool wants_five = input.take<std::uint8_t>() & 1;
  const std::size_t bytes = std::size_t{3} * image.width * image.height;
  oznalib::Image view = image;
  view.data = block->last(bytes);
  input.fill(block->last(bytes), bytes);
  std::vector<float> points;
  try {
    wants_five ? oznalib::align5Points(view, rect, points)
               : oznalib::align68Points(view, rect, points);
  } catch (const cv::Exception&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  block = new GuardedBlock;
  const std::string root = "/dev/shm/ozna-fuzz-" + std::to_string(getpid()) + "/";
  ozna_fuzz::WriteDirectory(ozna_fuzz::SmallDirectory(), root);
  detector = new oznalib::Detector;
  const char* const root_text = root.c_str();
  const char* const list = ozna_fuzz::kDirectoryNames[0];
  if (detector->load(oznalib::DetectorParams(root_text, list)) != oznalib::StatusOk) {
    std::abort();
  }
  std::filesystem::remove_all(root);
  const ozna_fuzz::MemoryFile file;
  const std::string model =
      ozna_fuzz::SmallLandmarkModel(/*landmarks=*/68, /*stages=*/0, /*face_width=*/24);
  file.write(reinterpret_cast<const std::uint8_t*>(model.data()), model.size());
  if (oznalib::loadSDMModel(ozna_fuzz::MemoryFile::directory(), file.name()) != oznalib::StatusOk) {
    std::abort();
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const bool detects = input.take<std::uint8_t>() & 1;
  ozna_fuzz::RunOrRefuse([&] { detects ? RunDetect(input) : RunAlign(input); });
  return 0;
}
