// ozna detect.

#include <optional>

#include "tools/annotation_output.h"
#include "tools/commands.h"
#include "tools/face_search.h"
#include "tools/model_directory.h"
#include "tools/photograph_run.h"

namespace oznatool {

ExitCode detectCommand(const Options& options) {
  std::optional<AnnotationOutput> output;
  if (!options.annotate.empty()) output.emplace(options.annotate, options.photographs);
  FaceSearch search(modelDirectory(options.models), options.parameter);
  return runPhotographs(
      options, output ? &*output : nullptr,
      [&search](const Photograph& photograph) { return search.find(photograph); });
}

}  // namespace oznatool
