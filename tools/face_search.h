/// A loaded cascade that finds the faces of photographs.

#ifndef OZNA_TOOLS_FACE_SEARCH_H_
#define OZNA_TOOLS_FACE_SEARCH_H_

#include <string>
#include <vector>

#include "ozna.h"
#include "tools/cascade_files.h"
#include "tools/face.h"
#include "tools/photograph.h"
#include "tools/search_options.h"
#include "tools/search_plan.h"

namespace oznatool {

/// Tests the cascade of a model directory, as far as a load in a process of its own. One that the
/// build of the program knows is compared with it instead, which takes a fiftieth of the time.
///
/// models   Directory with a separator at its end.
/// Errors   Failure with kExitModel where a file is missing or damaged.
/// Threads  None may run besides the caller's.
CascadeFiles testedCascade(const std::string& models);

/// The cascade of a model directory with the way to search.
///
/// Threads  One at a time; any number of objects side by side.
class FaceSearch {
 public:
  /// Loads the cascade.
  ///
  /// files    Those of testedCascade.
  /// options  Its parameter has passed checkParameter.
  /// Errors   Failure with kExitModel.
  FaceSearch(const CascadeFiles& files, const SearchOptions& options);

  /// The faces of a photograph, best score first, without landmarks, in the pixels that were decoded
  /// without their border. A photograph may be reduced as far as decodingReduction allows. Faces whose centre lies in the border are none.
  ///
  /// A photograph so narrow that no pixel of its shorter side is left in the working image has
  /// none; this is told on standard error.
  ///
  /// Errors  PhotographFailure of kind kParameter where the parameters ask for a working image that
  ///         the first network cannot hold.
  std::vector<Face> find(const Photograph& photograph);

 private:
  std::vector<Scan> plan(const Photograph& photograph) const;
  void addFaces(const Photograph& photograph, const Scan& scan, std::vector<Face>* faces);

  SearchOptions options_;
  Size first_input_;  // Of the first network, in pixels.
  oznalib::Detector detector_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_FACE_SEARCH_H_
