// A host in C++: what oznakit.hpp gives and throws. kit_main PHOTO.ppm; status 0 when all is well.

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <oznakit.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>
#if __cplusplus >= 202002L
#include <span>
#endif

#include "photograph.h"

namespace {

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << what << '\n';
  std::exit(1);
}

bool same(const oznakit::Box& a, const oznakit::Box& b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

void testSearch(const oznakit::Finder& finder, const oznakit::Image& image) {
  oznakit::SearchOptions options;
  options.landmarks = oznakit::Landmarks::All68;
  options.details = true;
  float last = -1;
  options.progress = [&last](float done) {
    require(done >= last && done <= 1, "progress goes back");
    last = done;
    return true;
  };
  const std::vector<oznakit::Face> faces = finder.find(image, options);
  require(last == 1, "progress does not reach the end");
  require(faces.size() == 1, "not one face");
  const oznakit::Face& face = faces[0];
  require(face.points.size() == 68 && face.points[30].x > face.box.left &&
              face.points[30].x < face.box.right,
          "the nose is not in the face");
  require(face.quality > 0 && face.quality <= 1 && std::abs(face.roll) < 45, "no details");
#if __cplusplus >= 202002L
  require(std::span<const oznakit::Point>(face.points).size() == 68, "no span");
#endif

  const std::vector<oznakit::Face> again = finder.align(image, faces, oznakit::Landmarks::Five);
  require(again.size() == 1 && again[0].points.size() == 5 && again[0].score == face.score &&
              same(again[0].box, face.box),
          "alignment of a face that was found");
  require(std::isnan(finder.align(image, {face.box})[0].score), "a given box has a score");
  require(finder.align(image, std::vector<oznakit::Box>()).empty(), "faces without boxes");

  oznakit::ChipOptions chip;
  chip.width = 40;
  chip.height = 50;
  chip.format = oznakit::Format::Bgra;
  const oznakit::Picture picture = oznakit::chip(image, face, chip);
  require(picture.pixels.size() == 4 * 40 * 50 && picture.rowBytes() == 160, "size of a chip");

  const oznakit::Face copy = oznakit::fromC(oznakit::toC(face));
  require(same(copy.box, face.box) && copy.points.size() == 68 &&
              copy.points[67].y == face.points[67].y && copy.pitch == face.pitch &&
              copy.sharpness == face.sharpness,
          "a face changes on its way");
}

void testErrors(const oznakit::Finder& finder, const oznakit::Image& image) {
  try {
    oznakit::Finder("/nowhere at all");
    require(false, "models from nowhere");
  } catch (const oznakit::Error& error) {
    require(error.status() == OZNAKIT_NO_MODEL, "status of models from nowhere");
    require(std::string(error.what()).find("/nowhere at all") != std::string::npos, "no sentence");
  }
  try {
    finder.find(oznakit::Image());
    require(false, "a search of nothing");
  } catch (const oznakit::Error& error) {
    require(error.status() == OZNAKIT_BAD_ARGUMENT, "status of a search of nothing");
  }
  oznakit::SearchOptions options;
  options.progress = [](float) { return false; };
  try {
    finder.find(image, options);
    require(false, "a cancelled search goes on");
  } catch (const oznakit::Cancelled& error) {
    require(error.status() == OZNAKIT_CANCELLED, "status of a cancelled search");
  }
  options.progress = [](float) -> bool { throw std::out_of_range("thrown by the host"); };
  try {
    finder.find(image, options);
    require(false, "an exception is lost");
  } catch (const std::out_of_range& error) {
    require(std::string(error.what()) == "thrown by the host", "another exception");
  }
  require(finder.find(image).size() == 1, "the finder does not work after a failure");
  bool refused = false;
  try {
    oznakit::chip(image, finder.find(image)[0], [] {
      oznakit::ChipOptions huge;
      huge.width = -1;
      return huge;
    }());
  } catch (const oznakit::Error&) {
    refused = true;
  }
  require(refused, "a chip of negative width");
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 2, "kit_main PHOTO.ppm");
  require(oznakit::version() == OZNAKIT_VERSION, "another version");
  oznakit::Image image;
  const std::unique_ptr<unsigned char, void (*)(void*)> pixels(
      readPhotograph(argv[1], &image.width, &image.height), &std::free);
  require(pixels != nullptr, "no photograph");
  image.pixels = pixels.get();

  oznakit::Finder first;
  const oznakit::Finder finder = std::move(first);
  require(finder.info().stages > 0 && first.handle() == nullptr, "a finder that moved");
  testSearch(finder, image);
  testErrors(finder, image);
  finder.trim();
  const oznakit::Box box = finder.find(image)[0].box;
  std::printf("%g %g %g %g\n", static_cast<double>(box.left), static_cast<double>(box.top),
              static_cast<double>(box.right), static_cast<double>(box.bottom));
}
