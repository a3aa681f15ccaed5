// ozna align.

#include <algorithm>
#include <optional>

#include "tools/annotation_output.h"
#include "tools/commands.h"
#include "tools/face_search.h"
#include "tools/landmark_placer.h"
#include "tools/model_directory.h"
#include "tools/photograph_run.h"
#include "tools/streams.h"

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
    throw Failure(kExitPhotographs, printable(photograph.path) +
                                        ": the box lies outside the photograph of " +
                                        std::to_string(photograph.pixels.cols) + " x " +
                                        std::to_string(photograph.pixels.rows) + " pixels");
  }
  return {box, std::nullopt, {}};
}

}  // namespace

ExitCode alignCommand(const Options& options) {
  std::optional<AnnotationOutput> output;
  if (!options.annotate.empty()) output.emplace(options.annotate, options.photographs);
  const std::string models = modelDirectory(options.models);
  const LandmarkPlacer placer(models, options.points);
  std::optional<FaceSearch> search;
  if (!options.box) search.emplace(models, options.parameter);

  return runPhotographs(options, output ? &*output : nullptr, [&](const Photograph& photograph) {
    std::vector<Face> faces;
    if (options.box) {
      faces.push_back(givenFace(photograph, *options.box));
    } else {
      faces = search->find(photograph);
    }
    for (Face& face : faces) placer.place(photograph, &face);
    return faces;
  });
}

}  // namespace oznatool
