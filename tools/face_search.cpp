// Loading the cascade, and its guarded use.

#include "tools/face_search.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/decoding_reduction.h"
#include "tools/exit_code.h"
#include "tools/face_merge.h"
#include "tools/known_cascade.h"
#include "tools/photograph_failure.h"
#include "tools/streams.h"
#include "tools/trial_load.h"
#include "tools/working_size.h"

namespace oznatool {
namespace {

std::string sides(const Size& size) {
  return std::to_string(size.width) + " x " + std::to_string(size.height);
}

bool fits(const Size& working, const Size& input) {
  // The network's memory is one run of numbers: what counts is the area, not the single side.
  return working.width * working.height <= input.width * input.height;
}

// The least --min-face-fraction that the first network can hold for an image, in thousandths rounded
// up; 1 where not even that is enough.
std::string acceptedFraction(const Size& image, oznalib::CascadeParameter parameter,
                             const Size& input) {
  int thousandths = static_cast<int>(parameter.minFaceFraction * 1000);
  do {
    parameter.minFaceFraction = static_cast<float>(++thousandths) / 1000;
  } while (thousandths < 1000 && !fits(workingSize(image, parameter), input));
  char text[16];
  std::snprintf(text, sizeof(text), "%.3f", thousandths / 1000.0);
  return text;
}

oznalib::Rectangle<float> movedBy(const oznalib::Rectangle<float>& rect, int x, int y) {
  const auto dx = static_cast<float>(x);
  const auto dy = static_cast<float>(y);
  return {rect.left + dx, rect.top + dy, rect.right + dx, rect.bottom + dy};
}

// Whether the centre of a rectangle lies in an area: left and top inclusive, right and bottom not.
bool centreLiesIn(const oznalib::Rectangle<float>& rect, const oznalib::Rectangle<float>& area) {
  const float x = (rect.left + rect.right) / 2;
  const float y = (rect.top + rect.bottom) / 2;
  return x >= area.left && x < area.right && y >= area.top && y < area.bottom;
}

}  // namespace

CascadeFiles testedCascade(const std::string& models) {
  // A list that cannot be followed fails here as it does there.
  const CascadeFiles listed = listCascadeFiles(models);
  if (isKnownCascade(listed)) return listed;
  const CascadeFiles files = checkCascadeFiles(models);
  tryCascade(files);
  checkCalibrationTable(files);
  return files;
}

FaceSearch::FaceSearch(const CascadeFiles& files, const SearchOptions& options)
    : options_(options), first_input_(files.first_input) {
  if (detector_.load(oznalib::DetectorParams(files.root.c_str(), kStageListName)) !=
      oznalib::StatusOk) {
    throw Failure(kExitModel, printable(files.root) + ": the models cannot be loaded");
  }
}

std::vector<Scan> FaceSearch::plan(const Photograph& photograph) const {
  const int longer_side = std::max(photograph.size.width, photograph.size.height);
  if (photograph.reduction == 1) {
    return planScans(photograph.framed.size(), longer_side, options_, first_input_);
  }
  // The plan for the whole photograph is one scan.
  const int border_px = borderPixels(photograph.size, options_.margin_percent);
  const cv::Size searched = photograph.size + cv::Size(2 * border_px, 2 * border_px);
  Scan scan = planScans(searched, longer_side, options_, first_input_).front();
  scan.region = cv::Rect({0, 0}, photograph.framed.size());
  scan.parameter = reducedParameter(scan.parameter, photograph.reduction);
  return {scan};
}

std::vector<Face> FaceSearch::find(const Photograph& photograph) {
  const std::vector<Scan> scans = plan(photograph);
  std::vector<Face> faces;
  for (const Scan& scan : scans) addFaces(photograph, scan, &faces);
  if (scans.size() > 1) mergeFaces(&faces);

  const oznalib::Rectangle<float> whole = {0, 0, static_cast<float>(photograph.pixels.cols),
                                           static_cast<float>(photograph.pixels.rows)};
  for (Face& face : faces) {
    face.rect = movedBy(face.rect, -photograph.border_px, -photograph.border_px);
  }
  if (photograph.border_px > 0) {
    faces.erase(std::remove_if(faces.begin(), faces.end(),
                               [&](const Face& face) { return !centreLiesIn(face.rect, whole); }),
                faces.end());
  }
  return faces;
}

void FaceSearch::addFaces(const Photograph& photograph, const Scan& scan,
                          std::vector<Face>* faces) {
  const Size region = {scan.region.width, scan.region.height};
  const Size working = workingSize(region, scan.parameter);
  if (working.width == 0 || working.height == 0) {
    say(printable(photograph.path) + ": too narrow to be searched: the working image would be " +
        sides(working) + " pixels");
    return;
  }
  if (!fits(working, first_input_)) {
    throw PhotographFailure(photograph.path, FailureKind::kParameter,
                            "the working image would be " + sides(working) +
                                " pixels, more than the " + sides(first_input_) +
                                " of the first network; --min-face-fraction " +
                                acceptedFraction(region, scan.parameter, first_input_) +
                                " would be accepted, and --min-face finds small faces by tiles");
  }

  const oznalib::Image image = {scan.region.width, scan.region.height,
                                static_cast<std::int32_t>(photograph.framed.step),
                                photograph.framed.ptr(scan.region.y, scan.region.x)};
  std::vector<oznalib::Detection> detections;
  if (oznalib::detect(image, detector_, detections, scan.parameter) != oznalib::StatusOk) {
    throw Failure(kExitModel, "the models are not loaded");
  }
  for (const oznalib::Detection& detection : detections) {
    const Face face = {movedBy(detection.rect, scan.region.x, scan.region.y), detection.score};
    if (centreLiesIn(face.rect, scan.core)) faces->push_back(face);
  }
}

}  // namespace oznatool
