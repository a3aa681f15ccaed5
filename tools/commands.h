/// The commands of the program: one function each, in a file of its own.

#ifndef OZNA_TOOLS_COMMANDS_H_
#define OZNA_TOOLS_COMMANDS_H_

#include "tools/exit_code.h"
#include "tools/options.h"

namespace oznatool {

/// Prints the faces of photographs. Throws Failure where it cannot begin or cannot write its data.
ExitCode detectCommand(const Options& options);

/// Prints the faces of photographs, or one given rectangle, with their landmarks. Throws as
/// detectCommand.
ExitCode alignCommand(const Options& options);

}  // namespace oznatool

#endif  // OZNA_TOOLS_COMMANDS_H_
