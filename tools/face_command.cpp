// ozna detect, align, annotate and crop: they differ in what they write beside the records.

#include <memory>

#include "tools/annotation_output.h"
#include "tools/chip_output.h"
#include "tools/commands.h"
#include "tools/photograph_run.h"
#include "tools/sidecar_output.h"

namespace oznatool {

ExitCode faceCommand(const Options& options) {
  // Outputs before models: a directory that cannot be made is told at once.
  std::vector<std::unique_ptr<SideOutput>> owned;
  if (!options.chips.empty()) {
    owned.push_back(std::make_unique<ChipOutput>(
        options.chips, options.chip_side,
        options.resume.empty() ? Taken::kAnotherName : Taken::kEqualServes));
  }
  if (!options.xmp.empty()) owned.push_back(std::make_unique<SidecarOutput>(options.xmp));
  // The last one, since it draws into the photograph.
  if (!options.annotate.empty()) {
    owned.push_back(std::make_unique<AnnotationOutput>(options.annotate, options));
  }
  std::vector<const SideOutput*> outputs;
  for (const auto& output : owned) outputs.push_back(output.get());

  const FaceModels models(options);
  return runPhotographs(models, outputs);
}

}  // namespace oznatool
