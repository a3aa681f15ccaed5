/// Every default of the program with where it comes from.

#ifndef OZNA_TOOLS_COMMANDS_DEFAULTS_H_
#define OZNA_TOOLS_COMMANDS_DEFAULTS_H_

#include <string>
#include <vector>

#include "tools/arguments/options.h"

namespace oznatool {

struct Default {
  std::string option;
  std::string value;
  std::string source;
};

/// options  Of a command without options, or with --models alone.
/// Errors   Failure with kExitModel where no models are found.
std::vector<Default> defaultsOf(const Options& options);

}  // namespace oznatool

#endif  // OZNA_TOOLS_COMMANDS_DEFAULTS_H_
