/// The commands of the program, each in a file of its own.

#ifndef OZNA_TOOLS_COMMANDS_COMMANDS_H_
#define OZNA_TOOLS_COMMANDS_COMMANDS_H_

#include "tools/arguments/options.h"
#include "tools/process/exit_code.h"

namespace oznatool {

/// detect, align, annotate, crop, report: finds the faces of photographs and writes what the
/// options ask for. All commands throw Failure where they cannot begin or cannot write their data.
ExitCode faceCommand(const Options& options);

/// Shows which models are loaded, from where, their sizes, checksums and licences.
ExitCode modelsCommand(const Options& options);

/// Shows version, instruction set, libraries, and every default with its source.
ExitCode infoCommand(const Options& options);

/// Times the work on the photographs, with the share of each stage.
ExitCode benchCommand(const Options& options);

}  // namespace oznatool

#endif  // OZNA_TOOLS_COMMANDS_COMMANDS_H_
