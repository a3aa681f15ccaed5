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
  const FileOptions& files = options.files;
  RunOptions run = options.run;
  const Taken taken = takenOf(run.existing, !run.resume.empty());
  // Outputs before models: a directory that cannot be made is reported at once.
  std::vector<std::unique_ptr<SideOutput>> owned;
  if (!files.chips.empty()) {
    // One picture per face: one name for all of them is a mistake.
    const bool is_there = std::filesystem::is_directory(files.chips);
    if (files.chips == "-" || (!is_there && namesImageFormat(files.chips))) {
      throw Failure(kExitUsage,
                    printable(files.chips) +
                        " is one picture, and crop writes one per face: name a directory");
    }
    if (run.existing == Existing::kOverwrite) {
      refuseToOverwritePhotographs(files.chips, run.inputs.names);
    }
    owned.push_back(std::make_unique<ChipOutput>(files.chips, files.chip_side, taken));
  }
  if (!files.report.empty()) owned.push_back(std::make_unique<ReportOutput>(files.report));
  if (!files.xmp.empty()) {
    owned.push_back(std::make_unique<SidecarOutput>(files.xmp, files.xmp_by_stem));
  }
  if (files.embed) owned.push_back(std::make_unique<EmbedOutput>());
  // The last one, since it draws into the photograph.
  if (!files.annotate.empty()) {
    owned.push_back(std::make_unique<AnnotationOutput>(files.annotate, run.inputs.names,
                                                       Inputs::maySeveral(run.inputs), taken));
  }
  std::vector<const SideOutput*> outputs;
  for (const auto& output : owned) outputs.push_back(output.get());

  // A second run would find what the first one drew and cut out, and take it for photographs.
  for (const std::string& folder : {files.annotate, files.chips}) {
    if (!folder.empty()) run.inputs.left_out.push_back(folder);
  }
  run.picture_out = files.annotate == "-";
  const FaceFinder finder(options.find);
  const ExitCode status = runPhotographs(run, finder, outputs);
  for (const SideOutput* output : outputs) output->finish();
  return status;
}

}  // namespace oznatool
