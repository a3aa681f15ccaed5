// A host: finds the one face of a photograph and its landmarks. main MODELS_DIR PHOTO.ppm; status 0
// when all is well.

#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "ozna.h"

namespace {

struct Photograph {
  int width = 0;
  int height = 0;
  std::vector<std::uint8_t> pixels;
};

bool read(const char* path, Photograph& photograph) {
  std::ifstream file(path, std::ios::binary);
  std::string magic;
  int maximum = 0;
  file >> magic >> photograph.width >> photograph.height >> maximum;
  file.get();
  if (!file || magic != "P6" || maximum != 255) return false;
  photograph.pixels.resize(std::size_t{3} * photograph.width * photograph.height);
  file.read(reinterpret_cast<char*>(photograph.pixels.data()),
            static_cast<std::streamsize>(photograph.pixels.size()));
  return static_cast<bool>(file);
}

int fail(const char* what) {
  std::cerr << what << '\n';
  return 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return fail("main MODELS_DIR PHOTO.ppm");
  const std::string models = std::string(argv[1]) + "/";
  Photograph photograph;
  if (!read(argv[2], photograph)) return fail("no photograph");
  const oznalib::Image image{photograph.width, photograph.height, 0, photograph.pixels.data()};

  oznalib::Detector detector;
  const oznalib::DetectorParams params(models.c_str(), "stages.txt");
  if (detector.load(params) != oznalib::StatusOk) return fail("no cascade");
  std::vector<oznalib::Detection> faces;
  const oznalib::CascadeParameter parameter{2.0F, 640, 0.05F, 12, 1.26F, 13};
  if (oznalib::detect(image, detector, faces, parameter) != oznalib::StatusOk)
    return fail("not loaded");
  if (faces.size() != 1) return fail("not one face");

  if (oznalib::loadSDMModel(models + "models", "face68.sdm") != oznalib::StatusOk)
    return fail("no landmark model");
  std::vector<float> points;
  oznalib::align68Points(image, faces[0].rect, points);
  if (points.size() != 136) return fail("not 68 landmarks");
  // The tip of the nose lies in the middle half of the face.
  const oznalib::Rectangle<float>& rect = faces[0].rect;
  const float x = (points[60] - rect.left) / (rect.right - rect.left);
  const float y = (points[61] - rect.top) / (rect.bottom - rect.top);
  if (!(x > 0.25F && x < 0.75F && y > 0.25F && y < 0.75F))
    return fail("the nose is not in the face");
  oznalib::unloadSDMModel();
  std::printf("%g %g %g %g\n", rect.left, rect.top, rect.right, rect.bottom);
  return 0;
}
