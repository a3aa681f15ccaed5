// Models and their use on a photograph.

#include "tools/run/face_finder.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>

#include "tools/photograph/photograph_failure.h"
#include "tools/process/streams.h"
#include "tools/run/model_directory.h"
#include "tools/run/opened_models.h"

namespace oznatool {
namespace {

Models modelsFor(const FindOptions& options) {
  if (options.box) return Models::kLandmarks;
  return options.points > 0 || options.search.details ? Models::kBoth : Models::kCascade;
}

oznakit::Landmarks landmarksOf(const FindOptions& options) {
  return options.points == 68  ? oznakit::Landmarks::All68
         : options.points == 5 ? oznakit::Landmarks::Five
                               : oznakit::Landmarks::None;
}

// The one face that the user gave. It must share at least a pixel's width and height with the
// photograph.
Face givenFace(const Photograph& photograph, const oznakit::Box& box) {
  const float shared_width =
      std::min(box.right, static_cast<float>(photograph.pixels.cols)) - std::max(box.left, 0.0F);
  const float shared_height =
      std::min(box.bottom, static_cast<float>(photograph.pixels.rows)) - std::max(box.top, 0.0F);
  if (shared_width < 1 || shared_height < 1) {
    throw PhotographFailure(photograph.path, FailureKind::kSearch,
                            "the box lies outside the photograph of " +
                                std::to_string(photograph.pixels.cols) + " x " +
                                std::to_string(photograph.pixels.rows) + " pixels");
  }
  return {box, std::nullopt};
}

std::string sides(int width, int height) {
  return std::to_string(width) + " x " + std::to_string(height);
}

float areaOf(const oznakit::Box& box) {
  return std::max(0.0F, box.width()) * std::max(0.0F, box.height());
}

float scoreOf(const Face& face) { return face.score.value_or(1.0F); }

}  // namespace

bool countsPixels(const FindOptions& options) {
  if (options.box) return true;
  const oznakit::SearchOptions& search = options.search;
  if (search.scan) return false;
  return search.preset == oznakit::Preset::Thorough || search.min_face_px > 0 ||
         search.min_face_share > 0;
}

FaceFinder::FaceFinder(const FindOptions& options)
    : options_(options),
      directory_(modelDirectory(options.models)),
      finder_(openModels(directory_, modelsFor(options))) {}

oznakit::SearchOptions FaceFinder::wholeSearch() const {
  oznakit::SearchOptions search = options_.search;
  search.landmarks = landmarksOf(options_);
  return search;
}

int FaceFinder::reductionFor(const cv::Size& upright) const {
  if (!findsFaces()) return 1;
  try {
    return finder_.plan(upright.width, upright.height, wholeSearch()).reduction;
  } catch (const oznakit::Error&) {
    return 1;  // The search reports what is wrong.
  }
}

std::vector<Face> FaceFinder::find(const Photograph& photograph) const {
  std::vector<Face> faces = search(photograph);
  align(photograph, faces);
  for (Face& face : faces) photograph.enlarge(face);
  return faces;
}

std::vector<oznakit::Face> FaceFinder::run(const Photograph& photograph) const {
  oznakit::SearchOptions search = wholeSearch();
  if (photograph.reduction > 1) {
    const oznakit::Plan plan = planFor(photograph);
    search.scan = plan.scan;
    search.margin = plan.margin;
    search.min_face_px = 0;
    search.min_face_share = 0;
  }
  // The landmarks are those of the faces that will be chosen.
  search.landmarks = oznakit::Landmarks::None;
  search.details = false;
  return finder_.find(imageOf(photograph.pixels), search);
}

oznakit::Plan FaceFinder::planFor(const Photograph& photograph) const {
  const cv::Size size = photograph.reduction > 1 ? photograph.size : photograph.pixels.size();
  return finder_.plan(size.width, size.height, wholeSearch());
}

std::string FaceFinder::reasonAgainst(const Photograph& photograph,
                                      const std::string& sentence) const {
  const oznakit::Plan plan = planFor(photograph);
  if (plan.least_fraction == 0) return sentence;
  const oznakit_finder_info info = finder_.info();
  char fraction[16];
  std::snprintf(fraction, sizeof(fraction), "%.3f", static_cast<double>(plan.least_fraction));
  return "the working image would be " + sides(plan.working_width, plan.working_height) +
         " pixels, more than the " + sides(info.scan_width, info.scan_height) +
         " of the first network; --min-face-fraction " + fraction +
         " would be accepted, and --min-face finds small faces by tiles";
}

std::vector<Face> FaceFinder::search(const Photograph& photograph) const {
  if (!findsFaces()) return {givenFace(photograph, *options_.box)};
  std::vector<Face> faces;
  try {
    for (const oznakit::Face& face : run(photograph)) {
      faces.push_back({face.box, face.score, {}, face.turn});
    }
    if (faces.empty()) reportNarrow(photograph);
  } catch (const oznakit::Error& error) {
    if (error.status() != OZNAKIT_BAD_ARGUMENT) throw;
    throw PhotographFailure(photograph.path, FailureKind::kParameter,
                            reasonAgainst(photograph, error.what()));
  }
  chooseFaces(options_.choice, faces);
  return faces;
}

void FaceFinder::reportNarrow(const Photograph& photograph) const {
  const oznakit::Plan plan = planFor(photograph);
  if (plan.working_width > 0 && plan.working_height > 0) return;
  say(printable(photograph.path) + ": too narrow to be searched: the working image would be " +
      sides(plan.working_width, plan.working_height) + " pixels");
}

void FaceFinder::align(const Photograph& photograph, std::vector<Face>& faces) const {
  const oznakit::Landmarks landmarks = landmarksOf(options_);
  const bool details = options_.search.details;
  if (landmarks == oznakit::Landmarks::None && !details) return;
  std::vector<oznakit::Box> boxes;
  std::vector<std::int32_t> turns;
  for (const Face& face : faces) {
    boxes.push_back(face.rect);
    turns.push_back(face.turn);
  }
  const std::vector<oznakit::Face> placed =
      finder_.align(imageOf(photograph.pixels), boxes, turns, landmarks, details);
  for (std::size_t i = 0; i < placed.size(); ++i) {
    const oznakit::Face& found = placed[i];
    if (details) {
      faces[i].details = {found.quality,  found.roll,      found.yaw,      found.pitch,
                          found.left_eye, found.right_eye, found.sharpness};
    }
    for (const oznakit::Point& point : placed[i].points) {
      faces[i].points.insert(faces[i].points.end(), {point.x, point.y});
    }
  }
}

void chooseFaces(Choice choice, std::vector<Face>& faces) {
  if (choice == Choice::kAll || faces.size() < 2) return;
  const auto chosen =
      std::max_element(faces.begin(), faces.end(), [choice](const Face& a, const Face& b) {
        return choice == Choice::kBest ? scoreOf(a) < scoreOf(b) : areaOf(a.rect) < areaOf(b.rect);
      });
  faces = {std::move(*chosen)};
}

}  // namespace oznatool
