/// Takes the photographs of a command line through one command, several at once.

#ifndef OZNA_TOOLS_RUN_PHOTOGRAPH_RUN_H_
#define OZNA_TOOLS_RUN_PHOTOGRAPH_RUN_H_

#include <string>
#include <vector>

#include "tools/output/existing_files.h"
#include "tools/output/report.h"
#include "tools/output/side_output.h"
#include "tools/process/exit_code.h"
#include "tools/run/face_finder.h"
#include "tools/run/inputs.h"
#include "tools/run/progress.h"

namespace oznatool {

/// How a run goes through its photographs.
struct RunOptions {
  InputOptions inputs;
  ReportOptions report;
  bool quiet = false;        ///< No data; the exit status says whether a face was found.
  bool picture_out = false;  ///< Standard output takes a picture, and no data.
  bool strict = false;       ///< A photograph that is cut short fails.
  Existing existing = Existing::kAnotherName;
  ProgressMode progress = ProgressMode::kAuto;
  std::string resume;  ///< A previous output whose photographs are left out; empty for none.
  int jobs = 0;        ///< Photographs at once; 0 for as many as the machine allows.
  int memory_mib = 0;  ///< For photographs in memory; 0 for the default: see workingMemory.
};

/// Finds the faces of each input, in as many threads as the options ask for, and writes one record
/// per input to standard output, in the order of the inputs, each as soon as those before it are
/// written. The files of the outputs are written before the record, in the order of outputs.
///
/// A photograph that fails is reported on standard error too, and the run continues with the
/// others. An interrupt ends the run when the photographs at work are done and written.
///
/// Returns  The highest status that any photograph asked for, kExitInterrupted, or that of --quiet.
/// Errors   Failure with kExitOutput where standard output cannot be written, with kExitUsage or
/// kExitOutput where the previous output cannot be continued.
/// Memory   Photographs and their files: what the options allow, and one file. Each thread has a
/// detector besides, which the finder keeps.
ExitCode runPhotographs(const RunOptions& options, const FaceFinder& finder,
                        const std::vector<const SideOutput*>& outputs);

}  // namespace oznatool

#endif  // OZNA_TOOLS_RUN_PHOTOGRAPH_RUN_H_
