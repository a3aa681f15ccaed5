// Models and their use on a photograph.

#include "tools/face_finder.h"

#include <algorithm>

#include "tools/decoding_reduction.h"
#include "tools/face_merge.h"
#include "tools/model_directory.h"
#include "tools/photograph_failure.h"

namespace oznatool {
namespace {

// The one face that the user gave. It must share at least a pixel's width and height with the
// photograph.
Face givenFace(const Photograph& photograph, const oznalib::Rectangle<float>& box) {
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

}  // namespace

FaceModels::FaceModels(const Options& options)
    : options_(options), directory_(modelDirectory(options.models)) {
  if (options.points > 0) placer_ = std::make_unique<LandmarkPlacer>(directory_, options.points);
  if (!options.box) cascade_ = testedCascade(directory_);
}

int FaceModels::reductionFor(const cv::Size& upright) const {
  if (!cascade_) return 1;
  return decodingReduction(upright, options_.search, cascade_->first_input,
                           leastFaceSide(placer_ != nullptr, cascade_->last_input_px));
}

FaceFinder::FaceFinder(const FaceModels& models) : models_(models) {
  if (models.cascade()) search_.emplace(*models.cascade(), models.options().search);
}

std::vector<Face> FaceFinder::find(const Photograph& photograph) {
  std::vector<Face> faces = search(photograph);
  align(photograph, &faces);
  for (Face& face : faces) photograph.enlarge(&face);
  return faces;
}

std::vector<Face> FaceFinder::search(const Photograph& photograph) {
  if (!search_) return {givenFace(photograph, *models_.options().box)};
  std::vector<Face> faces = search_->find(photograph);
  const float least = models_.options().min_score;
  faces.erase(std::remove_if(faces.begin(), faces.end(),
                             [least](const Face& face) { return !(*face.score >= least); }),
              faces.end());
  chooseFaces(models_.options().choice, &faces);
  return faces;
}

void FaceFinder::align(const Photograph& photograph, std::vector<Face>* faces) const {
  if (models_.placer() == nullptr) return;
  for (Face& face : *faces) models_.placer()->place(photograph, &face);
}

}  // namespace oznatool
