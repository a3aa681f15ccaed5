/// Takes the photographs of a command line through one command: read, work, report, annotate.

#ifndef OZNA_TOOLS_PHOTOGRAPH_RUN_H_
#define OZNA_TOOLS_PHOTOGRAPH_RUN_H_

#include <functional>
#include <vector>

#include "tools/annotation_output.h"
#include "tools/exit_code.h"
#include "tools/face.h"
#include "tools/options.h"
#include "tools/photograph.h"

namespace oznatool {

/// What a command does with one photograph. Throws Failure where this photograph cannot be worked
/// on.
using FaceFinder = std::function<std::vector<Face>(const Photograph&)>;

/// Calls finder for each photograph in the order of the command line and writes the results.
///
/// A photograph that fails is told on standard error and has no part in the data; the others go on.
/// output   Null for no annotated photographs.
/// Returns  The highest status that any photograph asked for.
/// Errors   Failure with kExitOutput, at once, where standard output cannot be written.
ExitCode runPhotographs(const Options& options, const AnnotationOutput* output,
                        const FaceFinder& finder);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_RUN_H_
