// Prints the faces of a photograph: find_faces PHOTO.ppm
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "oznakit.hpp"

int main(int argc, char** argv) try {
  if (argc != 2) return 2;
  // A binary PPM of 8 bits: "P6 width height 255", then the pixels.
  std::ifstream file(argv[1], std::ios::binary);
  std::string magic;
  int width = 0, height = 0, maximum = 0;
  file >> magic >> width >> height >> maximum;
  file.get();
  if (magic != "P6" || maximum != 255 || width < 1 || height < 1) return 1;
  std::vector<char> pixels{std::istreambuf_iterator<char>(file), {}};
  // In 64 bits: a header may promise more pixels than there are, or than 32 bits can count.
  if (pixels.size() != std::size_t{3} * width * height) return 1;

  oznakit::Image image;
  image.pixels = pixels.data();
  image.width = width;
  image.height = height;
  image.format = oznakit::Format::Rgb;

  const oznakit::Finder finder;  // One for all threads; the models that come with the library.
  oznakit::SearchOptions options;
  options.landmarks = oznakit::Landmarks::All68;
  options.details = true;
  for (const oznakit::Face& face : finder.find(image, options)) {
    std::cout << face.box.left << ' ' << face.box.top << ' ' << face.box.right << ' '
              << face.box.bottom << "  score " << face.score << "  nose " << face.points[30].x
              << ' ' << face.points[30].y << "  roll " << face.roll << '\n';
  }
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 3;
}
