// ozna detect, align, annotate, crop and report: they differ in what they write beside the records.

#include <filesystem>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/output/annotation_output.h"
#include "tools/output/chip_output.h"
#include "tools/output/embed_output.h"
#include "tools/output/existing_files.h"
#include "tools/output/image_encoder.h"
#include "tools/output/report_output.h"
#include "tools/output/sidecar_output.h"
#include "tools/process/streams.h"
#include "tools/run/photograph_run.h"

namespace oznatool {

ExitCode faceCommand(const Options& options) {
  // Outputs before models: a directory that cannot be made is told at once.
  std::vector<std::unique_ptr<SideOutput>> owned;
  if (!options.chips.empty()) {
    // A picture a face: one name for all of them is a mistake.
    const bool is_there = std::filesystem::is_directory(options.chips);
    if (options.chips == "-" || (!is_there && namesImageFormat(options.chips))) {
      throw Failure(kExitUsage,
                    printable(options.chips) +
                        " is one picture, and crop writes one a face: name a directory");
    }
    if (options.existing == Existing::kOverwrite) {
      refuseToOverwritePhotographs(options.chips, options.inputs.names);
    }
    owned.push_back(
        std::make_unique<ChipOutput>(options.chips, options.chip_side, takenOf(options)));
  }
  if (!options.report.empty()) owned.push_back(std::make_unique<ReportOutput>(options.report));
  if (!options.xmp.empty())
    owned.push_back(std::make_unique<SidecarOutput>(options.xmp, options.xmp_by_stem));
  if (options.embed) owned.push_back(std::make_unique<EmbedOutput>());
  // The last one, since it draws into the photograph.
  if (!options.annotate.empty()) {
    owned.push_back(std::make_unique<AnnotationOutput>(options.annotate, options));
  }
  std::vector<const SideOutput*> outputs;
  for (const auto& output : owned) outputs.push_back(output.get());

  // A second run would find what the first one drew and cut out, and take it for photographs.
  Options run = options;
  for (const std::string& folder : {options.annotate, options.chips}) {
    if (!folder.empty()) run.inputs.left_out.push_back(folder);
  }
  const FaceFinder finder(run);
  const ExitCode status = runPhotographs(finder, outputs);
  for (const SideOutput* output : outputs) output->finish();
  return status;
}

}  // namespace oznatool
