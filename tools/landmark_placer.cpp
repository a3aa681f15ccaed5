// Loading the landmark model, and its use.

#include "tools/landmark_placer.h"

#include "tools/exit_code.h"
#include "tools/landmark_file.h"
#include "tools/streams.h"

namespace oznatool {

LandmarkPlacer::LandmarkPlacer(const std::string& models, int point_count)
    : point_count_(point_count) {
  const std::string directory = models + kLandmarkDirectory;
  const std::string path = directory + "/" + kLandmarkName;
  checkLandmarkFile(path);
  if (oznalib::loadSDMModel(directory, kLandmarkName) != oznalib::StatusOk) {
    throw Failure(kExitModel, printable(path) + ": model file: cannot be opened");
  }
}

LandmarkPlacer::~LandmarkPlacer() { oznalib::unloadSDMModel(); }

void LandmarkPlacer::place(const Photograph& photograph, Face* face) const {
  const auto border = static_cast<float>(photograph.border_px);
  const oznalib::Rectangle<float> rect = {face->rect.left + border, face->rect.top + border,
                                          face->rect.right + border, face->rect.bottom + border};
  if (point_count_ == 5) {
    oznalib::align5Points(photograph.image(), rect, face->points);
  } else {
    oznalib::align68Points(photograph.image(), rect, face->points);
  }
  for (float& coordinate : face->points) coordinate -= border;
}

}  // namespace oznatool
