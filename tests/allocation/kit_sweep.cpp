// Fails one allocation after the other of a call of the kit, in one process, and looks at what
// comes of each.
//
//   kit_sweep OPERATION FAILURE STEP MODELS PHOTOGRAPH.ppm
//
// OPERATION  open, find (a search that makes its detector, as a second one at the same time does)
//            or again (one with a detector).
// FAILURE    one (allocation fails) or on (and all after it, as where memory has run out).
// STEP       1 fails every allocation, 7 every seventh.
// MODELS     Folder with stages.txt and cascades/.
//
// Each failure must end the call with OZNAKIT_NO_MEMORY, or not at all, with the results of a call
// to which nothing happened; the same finder does the work at the next try, and no block is left
// over.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "kit/oznakit.h"
#include "tests/allocation/failing_allocator.h"

namespace {

using failing_allocator::Failure;

[[noreturn]] void fail(const std::string& what) {
  failing_allocator::disarm();
  std::fprintf(stderr, "FAILED: %s: %s\n", what.c_str(), oznakit_last_message());
  std::_Exit(1);
}

constexpr int kSide = 128;

// The face of the photograph, at half its size: few windows to search, and still a face.
std::vector<std::uint8_t> readFace(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::string magic;
  int width = 0, height = 0, maximum = 0;
  file >> magic >> width >> height >> maximum;
  file.get();
  std::vector<std::uint8_t> pixels(std::size_t{3} * 512 * 512);
  file.read(reinterpret_cast<char*>(pixels.data()), static_cast<std::streamsize>(pixels.size()));
  if (!file || width != 512 || height != 512) fail("not the photograph of 512 by 512: " + path);
  std::vector<std::uint8_t> face;
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      // In blue, green, red, so that there is something to convert.
      const std::uint8_t* pixel = &pixels[3U * static_cast<unsigned>(2 * y * 512 + 96 + 2 * x)];
      for (const int channel : {2, 1, 0}) face.push_back(pixel[channel]);
    }
  }
  return face;
}

struct Sweep {
  std::string operation;
  std::string models;
  std::vector<std::uint8_t> pixels;

  oznakit_status open(oznakit_finder** finder) const {
    oznakit_model_options options = OZNAKIT_MODEL_OPTIONS_INIT;
    options.directory = models.c_str();
    options.parts = OZNAKIT_DETECTION;
    return oznakit_finder_open(&options, finder);
  }

  oznakit_status find(oznakit_finder* finder, oznakit_faces** faces) const {
    oznakit_image image = OZNAKIT_IMAGE_INIT;
    image.pixels = pixels.data();
    image.width = image.height = kSide;
    image.format = OZNAKIT_BGR;
    oznakit_search_options options = OZNAKIT_SEARCH_OPTIONS_INIT;
    const oznakit_scan scan = {2, kSide, 0.2F, 4, 1.26F, 13};
    options.scan = &scan;
    return oznakit_finder_find(finder, &image, &options, faces);
  }
};

// Boxes and scores of a search to which nothing happens.
std::vector<float> numbersOf(const oznakit_faces* faces) {
  std::vector<float> numbers;
  for (std::int32_t i = 0; i < oznakit_faces_count(faces); ++i) {
    oznakit_face face = OZNAKIT_FACE_INIT;
    if (oznakit_faces_get(faces, i, &face) != OZNAKIT_OK) fail("a face");
    numbers.insert(numbers.end(), {face.left, face.top, face.right, face.bottom, face.score});
  }
  return numbers;
}

std::vector<float> search(const Sweep& sweep, oznakit_finder* finder) {
  oznakit_faces* faces = nullptr;
  if (sweep.find(finder, &faces) != OZNAKIT_OK) fail("a search without a failure");
  const std::vector<float> numbers = numbersOf(faces);
  oznakit_faces_free(faces);
  return numbers;
}

// Runs the operation with the index-th allocation failing. Returns the status of the call.
oznakit_status runOnce(const Sweep& sweep, long index, Failure failure,
                       const std::vector<float>& expected) {
  oznakit_finder* finder = nullptr;
  oznakit_faces* faces = nullptr;
  const bool opens = sweep.operation == "open";
  if (!opens && sweep.open(&finder) != OZNAKIT_OK) fail("an open without a failure");
  // The first detector is that of the opening, which the trim frees.
  if (!opens) search(sweep, finder);
  if (sweep.operation == "find" && oznakit_finder_trim(finder) != OZNAKIT_OK) fail("a trim");
  failing_allocator::arm(index, failure);
  const oznakit_status status = opens ? sweep.open(&finder) : sweep.find(finder, &faces);
  failing_allocator::disarm();
  if (status != OZNAKIT_OK && status != OZNAKIT_NO_MEMORY) fail("another status");
  if (status == OZNAKIT_NO_MEMORY && !failing_allocator::failed()) fail("memory was not short");
  if (faces != nullptr && numbersOf(faces) != expected) fail("other faces");
  oznakit_faces_free(faces);
  if (opens && (finder == nullptr) != (status != OZNAKIT_OK)) fail("a finder after a failure");
  if (finder == nullptr && sweep.open(&finder) != OZNAKIT_OK) fail("the next open");
  if (search(sweep, finder) != expected) fail("other faces at the next search");
  oznakit_finder_close(finder);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) {
    std::fprintf(stderr, "kit_sweep open|find|again one|on STEP MODELS PHOTOGRAPH\n");
    return 2;
  }
  const Sweep sweep = {argv[1], argv[4], readFace(argv[5])};
  const Failure failure = std::strcmp(argv[2], "on") == 0 ? Failure::kOneAndOn : Failure::kOne;
  const long step = std::max(1L, std::atol(argv[3]));
  std::vector<float> expected;
  for (int round = 0; round < 2; ++round) {  // What the libraries keep they have got by then.
    oznakit_finder* finder = nullptr;
    if (sweep.open(&finder) != OZNAKIT_OK) fail("an open without a failure");
    expected = search(sweep, finder);
    oznakit_finder_close(finder);
  }
  if (expected.empty()) fail("no face was found");
  long no_memory = 0, unharmed = 0, leaks = 0;
  for (long index = 1;; index += step) {
    const long before = failing_allocator::liveBlocks();
    const oznakit_status status = runOnce(sweep, index, failure, expected);
    const long left = failing_allocator::liveBlocks() - before;
    if (!failing_allocator::failed()) break;
    // The first exception on a way keeps what it found out about it; a leak shows every time.
    if (left > 0) {
      const long again = failing_allocator::liveBlocks();
      runOnce(sweep, index, failure, expected);
      // The libraries below lose one block where the header of an image or a list gets no memory.
      const long leaked = failing_allocator::liveBlocks() - again;
      if (leaked > 1) fail(std::to_string(leaked) + " blocks are left over");
      leaks += leaked;
    }
    ++(status == OZNAKIT_OK ? unharmed : no_memory);
  }
  std::printf(
      "%s %s: %ld allocations failed: %ld came back as OZNAKIT_NO_MEMORY, %ld did no harm; %ld "
      "blocks lost by libraries\n",
      argv[1], argv[2], no_memory + unharmed, no_memory, unharmed, leaks);
  return no_memory > 0 ? 0 : 1;
}
