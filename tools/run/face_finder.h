/// What a command does with the pixels of one photograph: find faces, place landmarks, choose.

#ifndef OZNA_TOOLS_RUN_FACE_FINDER_H_
#define OZNA_TOOLS_RUN_FACE_FINDER_H_

#include <opencv2/core/types.hpp>
#include <optional>
#include <string>
#include <vector>

#include "oznakit.hpp"
#include "tools/photograph/face.h"
#include "tools/photograph/photograph.h"

namespace oznatool {

enum class Choice { kAll, kBiggest, kBest };

/// What is to be found in a photograph, and with which models.
struct FindOptions {
  std::string models;  ///< Their directory; empty for the default places.
  oznakit::SearchOptions search;
  Choice choice = Choice::kAll;
  int points = 0;                   ///< Landmarks per face: 0, 5 or 68.
  std::optional<oznakit::Box> box;  ///< The rectangle to align instead of detected faces.
};

/// Whether the options count pixels of the whole photograph: a box does, and a smallest face, for
/// which large photographs are searched in tiles.
bool countsPixels(const FindOptions& options);

/// Finds the faces of photographs as the options ask for.
///
/// Threads  Any number at once.
class FaceFinder {
 public:
  /// Opens the models that the options need. Errors  Failure with kExitModel; std::bad_alloc.
  explicit FaceFinder(const FindOptions& options);

  const FindOptions& options() const { return options_; }
  const std::string& directory() const { return directory_; }

  /// By how much the sides of a photograph of this upright size may be divided when it is decoded.
  int reductionFor(const cv::Size& upright) const;

  /// The chosen faces of a photograph with their landmarks, best score first, in the photograph's
  /// own pixels.
  ///
  /// A photograph so narrow that no pixel of its shorter side is left in the working image has
  /// none; standard error says so.
  ///
  /// Errors  PhotographFailure, of kind kParameter where the parameters ask for a working image
  ///         that the first network cannot hold; std::bad_alloc.
  std::vector<Face> find(const Photograph& photograph) const;

  /// The two halves of find, for timing: the faces without landmarks, and their landmarks, in the
  /// pixels that were decoded.
  std::vector<Face> search(const Photograph& photograph) const;
  void align(const Photograph& photograph, std::vector<Face>& faces) const;

 private:
  bool findsFaces() const { return !options_.box; }
  // For a photograph that is decoded whole.
  oznakit::SearchOptions wholeSearch() const;
  oznakit::Plan planFor(const Photograph& photograph) const;
  std::vector<oznakit::Face> run(const Photograph& photograph) const;
  // What to say of a photograph that the library refuses to search, with its sentence.
  std::string reasonAgainst(const Photograph& photograph, const std::string& sentence) const;
  void reportNarrow(const Photograph& photograph) const;

  FindOptions options_;
  std::string directory_;  // With a separator at its end.
  oznakit::Finder finder_;
};

/// Leaves the one face that was asked for: the largest area, the best score, or all. Among equals
/// the first stays.
void chooseFaces(Choice choice, std::vector<Face>& faces);

}  // namespace oznatool

#endif  // OZNA_TOOLS_RUN_FACE_FINDER_H_
