/// What a command does with the pixels of one photograph: find faces, place landmarks, choose.

#ifndef OZNA_TOOLS_FACE_FINDER_H_
#define OZNA_TOOLS_FACE_FINDER_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/cascade_files.h"
#include "tools/face.h"
#include "tools/face_search.h"
#include "tools/landmark_placer.h"
#include "tools/options.h"
#include "tools/photograph.h"

namespace oznatool {

/// The models that a command needs, tested; the landmark model is loaded, of which there is one for
/// all threads. Make one of these at a time, before any thread is started.
class FaceModels {
 public:
  /// Errors  Failure with kExitModel.
  explicit FaceModels(const Options& options);

  const Options& options() const { return options_; }
  const std::string& directory() const { return directory_; }
  /// Nothing where the user gave the box.
  const std::optional<CascadeFiles>& cascade() const { return cascade_; }
  /// Null where no landmarks are wanted.
  const LandmarkPlacer* placer() const { return placer_.get(); }
  /// By how much the sides of a photograph of this upright size may be divided when it is decoded for
  /// a FaceFinder. Any thread.
  int reductionFor(const cv::Size& upright) const;

 private:
  Options options_;
  std::string directory_;  // With a separator at its end.
  std::optional<CascadeFiles> cascade_;
  std::unique_ptr<LandmarkPlacer> placer_;
};

/// Finds the faces of photographs as the options ask for. Threads  One at a time; any number of
/// objects side by side.
class FaceFinder {
 public:
  /// Loads a detector of its own. models must outlive it. Errors  Failure with kExitModel.
  explicit FaceFinder(const FaceModels& models);

  /// The chosen faces of a photograph with their landmarks, best score first, in the photograph's own
  /// pixels.
  ///
  /// Errors  PhotographFailure; exceptions of the image library and failed allocations, which the
  /// library lets through.
  std::vector<Face> find(const Photograph& photograph);

  /// The two halves of find, for timing: the faces without landmarks, and their landmarks, in the
  /// pixels that were decoded.
  std::vector<Face> search(const Photograph& photograph);
  void align(const Photograph& photograph, std::vector<Face>* faces) const;

 private:
  const FaceModels& models_;
  std::optional<FaceSearch> search_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_FACE_FINDER_H_
