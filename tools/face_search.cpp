// Loading the cascade, and its guarded use.

#include "tools/face_search.h"

#include "tools/cascade_files.h"
#include "tools/exit_code.h"
#include "tools/streams.h"
#include "tools/trial_load.h"

namespace oznatool {
namespace {

std::string sides(const Size& size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

}  // namespace

FaceSearch::FaceSearch(const std::string& models, const oznalib::CascadeParameter& parameter)
    : parameter_(parameter), first_input_{0, 0} {
  const CascadeFiles files = checkCascadeFiles(models);
  tryCascade(files);
  checkCalibrationTable(files);
  first_input_ = files.first_input;
  if (detector_.load(oznalib::DetectorParams(files.root.c_str(), kStageListName)) !=
      oznalib::StatusOk) {
    throw Failure(kExitModel, printable(models) + ": the models cannot be loaded");
  }
}

std::vector<Face> FaceSearch::find(const Photograph& photograph) {
  const Size working = workingSize({photograph.pixels.cols, photograph.pixels.rows}, parameter_);
  if (working.width == 0 || working.height == 0) {
    say(printable(photograph.path) + ": too narrow to be searched: the working image would be " +
        sides(working) + " pixels");
    return {};
  }
  // The network's memory is one run of numbers: what counts is the area, not the single side.
  if (working.width * working.height > first_input_.width * first_input_.height) {
    throw Failure(kExitUsage,
                  printable(photograph.path) + ": the working image would be " + sides(working) +
                      " pixels, more than the " + sides(first_input_) +
                      " of the first network; raise --min-face-fraction or lower --window-size, "
                      "--max-image-side or --max-upscale");
  }

  std::vector<oznalib::Detection> detections;
  if (oznalib::detect(photograph.image(), detector_, detections, parameter_) != oznalib::StatusOk) {
    throw Failure(kExitModel, "the models are not loaded");
  }
  std::vector<Face> faces;
  for (const oznalib::Detection& detection : detections)
    faces.push_back({detection.rect, detection.score, {}});
  return faces;
}

}  // namespace oznatool
