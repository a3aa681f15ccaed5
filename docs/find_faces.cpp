// Prints the faces of a photograph: find_faces MODELS_DIR/ PHOTO.ppm
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "ozna.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  // A binary PPM of 8 bits: "P6 width height 255", then the pixels.
  std::ifstream file(argv[2], std::ios::binary);
  std::string magic;
  int width = 0, height = 0, maximum = 0;
  file >> magic >> width >> height >> maximum;
  file.get();
  if (magic != "P6" || maximum != 255 || width < 1 || height < 1) return 1;
  std::vector<char> pixels{std::istreambuf_iterator<char>(file), {}};
  // In 64 bits: a header may promise more pixels than there are, or than 32 bits can count.
  if (pixels.size() != std::size_t{3} * width * height) return 1;

  oznalib::Detector detector;
  const oznalib::DetectorParams models(argv[1], "stages.txt");
  if (detector.load(models) != oznalib::StatusOk) return 3;

  const auto* const rgb = reinterpret_cast<const std::uint8_t*>(pixels.data());
  const oznalib::Image image{width, height, /*stride=*/0, rgb};
  const oznalib::CascadeParameter parameter{2.0f, 640, 0.05f, 12, 1.26f, 13};
  std::vector<oznalib::Detection> faces;
  oznalib::detect(image, detector, faces, parameter);
  for (const oznalib::Detection& face : faces) {
    std::cout << face.rect.left << ' ' << face.rect.top << ' ' << face.rect.right << ' '
              << face.rect.bottom << "  score " << face.score << '\n';
  }
}
