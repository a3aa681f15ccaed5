/// Takes the photographs of a command line through one command, several at once.

#ifndef OZNA_TOOLS_RUN_PHOTOGRAPH_RUN_H_
#define OZNA_TOOLS_RUN_PHOTOGRAPH_RUN_H_

#include <vector>

#include "tools/output/side_output.h"
#include "tools/process/exit_code.h"
#include "tools/run/face_finder.h"

namespace oznatool {

/// Finds the faces of each input, in as many threads as the options ask for, and writes one record
/// an input to standard output, in the order of the inputs, each as soon as those before it are
/// written. The files of the outputs are written before the record, in the order of outputs.
///
/// A photograph that fails is told on standard error too, and the others go on. An interrupt ends
/// the run when the photographs at work are done and written.
///
/// Returns  The highest status that any photograph asked for, kExitInterrupted, or that of --quiet.
/// Errors   Failure with kExitOutput where standard output cannot be written, with kExitUsage or
/// kExitOutput where the previous output cannot be gone on with.
/// Memory   Photographs and their files: what memoryOf gives, and one file. Each thread has a
/// detector besides, which the finder keeps.
ExitCode runPhotographs(const FaceFinder& finder, const std::vector<const SideOutput*>& outputs);

}  // namespace oznatool

#endif  // OZNA_TOOLS_RUN_PHOTOGRAPH_RUN_H_
