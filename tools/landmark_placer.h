/// The loaded landmark model, which places points on faces.

#ifndef OZNA_TOOLS_LANDMARK_PLACER_H_
#define OZNA_TOOLS_LANDMARK_PLACER_H_

#include <string>

#include "tools/face.h"
#include "tools/photograph.h"

namespace oznatool {

/// The landmark model of a model directory. The library has one for the whole process: make one of
/// these at a time.
class LandmarkPlacer {
 public:
  /// Tests and loads the model.
  ///
  /// models       Directory with a separator at its end.
  /// point_count  68 or 5.
  /// Errors       Failure with kExitModel where the file is missing or damaged.
  LandmarkPlacer(const std::string& models, int point_count);
  ~LandmarkPlacer();
  LandmarkPlacer(const LandmarkPlacer&) = delete;
  LandmarkPlacer& operator=(const LandmarkPlacer&) = delete;

  /// Fills the points of a face from its rectangle, both without the photograph's border. Any
  /// number of threads. Passes on exceptions of the image library,
  /// which a rectangle far outside the photograph or far too large raises.
  void place(const Photograph& photograph, Face* face) const;

 private:
  int point_count_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_LANDMARK_PLACER_H_
