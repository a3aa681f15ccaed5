/// A loaded cascade that finds the faces of photographs.

#ifndef OZNA_TOOLS_FACE_SEARCH_H_
#define OZNA_TOOLS_FACE_SEARCH_H_

#include <string>
#include <vector>

#include "ozna.h"
#include "tools/face.h"
#include "tools/photograph.h"
#include "tools/working_size.h"

namespace oznatool {

/// The cascade of a model directory with the parameters of the search.
///
/// Threads  One at a time.
class FaceSearch {
 public:
  /// Tests and loads the cascade.
  ///
  /// models     Directory with a separator at its end.
  /// parameter  Has passed checkParameter.
  /// Errors     Failure with kExitModel where a file is missing or damaged.
  FaceSearch(const std::string& models, const oznalib::CascadeParameter& parameter);

  /// The faces of a photograph, best score first, without landmarks.
  ///
  /// A photograph so narrow that no pixel of its shorter side is left in the working image has
  /// none; this is told on standard error. Errors  Failure with kExitUsage where the parameters ask
  /// for a working image that the first network cannot hold.
  std::vector<Face> find(const Photograph& photograph);

 private:
  oznalib::CascadeParameter parameter_;
  Size first_input_;  // Of the first network, in pixels.
  oznalib::Detector detector_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_FACE_SEARCH_H_
