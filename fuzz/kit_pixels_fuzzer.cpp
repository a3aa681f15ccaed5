// Fuzz target: pictures of any format, row step and orientation in the kit, with any box, points
// and chip. Pixels end where a page does that nobody may read, and so does the room for a chip. A
// plain loop over the same pixels says what the upright ones are.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fuzz/guarded_pixels.h"
#include "fuzz/harness.h"
#include "kit/error.h"
#include "kit/faces/describe.h"
#include "kit/models/landmark_model.h"
#include "kit/oznakit.h"
#include "kit/pixels/picture.h"

namespace {

using ozna_fuzz::GuardedBlock;
using ozna_fuzz::Input;

constexpr int kMostChipSide = 40;

// Near the picture, in 256ths of a pixel, or any number at all. Large faces take long.
float takeCoordinate(Input& input, bool is_near) {
  return is_near ? static_cast<float>(input.take<std::int16_t>()) / 256 : input.take<float>();
}

[[noreturn]] void find(const char* what) {
  std::fprintf(stderr, "%s: %s\n", what, oznakit_last_message());
  std::abort();
}

GuardedBlock* pixels;
GuardedBlock* room;
const oznalib::SDMModel* model;

std::size_t pixelBytes(int format) {
  return format == OZNAKIT_GREY ? 1 : format <= OZNAKIT_BGR ? 3 : 4;
}

// Rows of pixels at either end of a block, such that the first byte or the last one is next to the
// page.
void* place(const GuardedBlock& block, int width, int height, int format, int gap, bool upwards,
            bool at_end, std::ptrdiff_t& row_bytes) {
  const std::size_t row = static_cast<std::size_t>(width) * pixelBytes(format);
  const std::size_t step = row + static_cast<std::size_t>(gap);
  const std::size_t way = step * static_cast<std::size_t>(height - 1);
  std::uint8_t* const lowest = at_end ? block.last(way + row) : block.first();
  row_bytes = static_cast<std::ptrdiff_t>(step) * (upwards ? -1 : 1);
  return upwards ? lowest + way : lowest;
}

// What upright pixel (x, y) is, by the sides of the upright picture that the first stored row and
// column belong to.
const std::uint8_t* storedPixel(const oznakit_image& image, const cv::Size& upright, int x, int y) {
  const int from_right = upright.width - 1 - x;
  const int from_bottom = upright.height - 1 - y;
  const int row[] = {y, y, y, from_bottom, from_bottom, x, from_right, from_right, x};
  const int column[] = {x, x, from_right, from_right, x, y, y, from_bottom, from_bottom};
  return static_cast<const std::uint8_t*>(image.pixels) + row[image.orientation] * image.row_bytes +
         column[image.orientation] * static_cast<std::ptrdiff_t>(pixelBytes(image.format));
}

void compare(const oznakit_image& image, const kit::Picture& picture, const cv::Rect& region) {
  static const int kFirst[][3] = {{0, 1, 2}, {2, 1, 0}, {0, 1, 2}, {2, 1, 0}, {1, 2, 3}, {0, 0, 0}};
  const cv::Mat rgb = picture.rgb(region);
  for (int y = 0; y < region.height; ++y) {
    for (int x = 0; x < region.width; ++x) {
      const std::uint8_t* const stored =
          storedPixel(image, picture.size(), region.x + x, region.y + y);
      for (int c = 0; c < 3; ++c) {
        if (rgb.ptr<std::uint8_t>(y)[3 * x + c] != stored[kFirst[image.format][c]]) {
          find("another pixel");
        }
      }
    }
  }
}

oznakit_image takeImage(Input& input) {
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  image.width = input.take<std::uint8_t>() % 64 + 1;
  image.height = input.take<std::uint8_t>() % 64 + 1;
  image.format = input.take<std::uint8_t>() % 6;
  image.orientation = input.take<std::uint8_t>() % 9;
  const auto layout = input.take<std::uint8_t>();
  image.pixels = place(*pixels, image.width, image.height, image.format, layout & 15,
                       (layout & 16) != 0, (layout & 32) != 0, image.row_bytes);
  return image;
}

oznakit_face takeFace(Input& input) {
  oznakit_face face = OZNAKIT_FACE_INIT;
  const auto kind = input.take<std::uint8_t>();
  face.point_count = (kind & 3) == 0 ? 0 : (kind & 3) == 1 ? 5 : (kind & 3) == 2 ? 68 : kind >> 2;
  face.turn = (kind & 64) != 0 ? input.take<std::int32_t>() : kind >> 4 & 3;
  float* const edges[] = {&face.left, &face.top, &face.right, &face.bottom};
  for (float* const edge : edges) {
    *edge = takeCoordinate(input, (kind & 128) == 0);
  }
  for (float& coordinate : face.points) {
    coordinate = takeCoordinate(input, (kind & 128) == 0);
  }
  return face;
}

void cutChip(Input& input, const oznakit_image& image, const oznakit_face& face) {
  oznakit_chip_options options = OZNAKIT_CHIP_OPTIONS_INIT;
  options.width = input.take<std::uint8_t>() % kMostChipSide + 1;
  options.height = input.take<std::uint8_t>() % kMostChipSide + 1;
  options.padding = takeCoordinate(input, true) / 16;
  options.border = input.take<std::uint8_t>() % 3;
  options.format = input.take<std::uint8_t>() % 7;
  const auto layout = input.take<std::uint8_t>();
  std::ptrdiff_t row_bytes = 0;
  void* const chip =
      place(*room, options.width, options.height, std::min(options.format, OZNAKIT_GREY),
            layout & 15, (layout & 16) != 0, (layout & 32) != 0, row_bytes);
  const oznakit_status status = oznakit_chip(&image, &face, &options, chip, row_bytes);
  if (status != OZNAKIT_OK && status != OZNAKIT_BAD_ARGUMENT) {
    find("a chip");
  }
}

void describe(const kit::Picture& picture, const oznakit_face& given) {
  kit::Face face;
  face.rect = {given.left, given.top, given.right, given.bottom};
  face.turn = given.turn & 3;
  try {
    kit::describeFace(*model, picture, OZNAKIT_WITH_POINTS_68 | OZNAKIT_WITH_DETAILS, face);
  } catch (const kit::Error& error) {
    if (error.status() != OZNAKIT_BAD_ARGUMENT) {
      find(error.what());
    }
  }
}

// Any numbers at all. The pixels are looked at only where the checks take them for a picture, which
// they must not.
void takeAnyImage(Input& input) {
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  image.width = input.take<std::int32_t>();
  image.height = input.take<std::int32_t>();
  image.row_bytes = static_cast<std::ptrdiff_t>(input.take<std::int64_t>());
  image.format = input.take<std::int32_t>();
  image.orientation = input.take<std::int32_t>();
  image.pixels =
      reinterpret_cast<const void*>(static_cast<std::uintptr_t>(input.take<std::uint64_t>()));
  try {
    const kit::Picture picture(image);
    if (picture.size().width < 1 || picture.size().height < 1) {
      find("a picture without pixels");
    }
  } catch (const kit::Error& error) {
    if (error.status() != OZNAKIT_BAD_ARGUMENT) {
      find(error.what());
    }
  }
}

// Landmarks spread over the face box that no stage moves.
std::string SmallModel() {
  std::string bytes;
  const auto put = [&](auto value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof(value));
  };
  put(std::int32_t{0});
  put(std::int32_t{0});
  put(std::int32_t{136});
  for (int i = 0; i < 136; ++i) {
    put(static_cast<float>(i % 9 + 1) / 10);
  }
  // Unused numbers, stages, then one blur level, two words, levels of an octave and the face width.
  for (const std::int32_t word : {0, 0, 1, 1, 0, 0, 3, 24}) {
    put(word);
  }
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  pixels = new GuardedBlock;
  room = new GuardedBlock;
  model = kit::readLandmarkModel("small", SmallModel()).release();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const auto what = input.take<std::uint8_t>();
  if (what % 8 == 0) {
    takeAnyImage(input);
    return 0;
  }
  const oznakit_image image = takeImage(input);
  const std::size_t bytes = GuardedBlock::kBytes / 16;
  input.fill(pixels->first(), bytes);
  input.fill(pixels->last(bytes), bytes);
  const kit::Picture picture(image);
  const cv::Rect whole(cv::Point(), picture.size());
  cv::Rect region(input.take<std::uint8_t>() % 64, input.take<std::uint8_t>() % 64,
                  input.take<std::uint8_t>() % 64, input.take<std::uint8_t>() % 64);
  compare(image, picture, whole);
  compare(image, picture, region & whole);
  const oznakit_face face = takeFace(input);
  what % 8 < 3 ? describe(picture, face) : cutChip(input, image, face);
  return 0;
}
