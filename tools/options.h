/// The command line: commands, their options and what the user chose.

#ifndef OZNA_TOOLS_OPTIONS_H_
#define OZNA_TOOLS_OPTIONS_H_

#include <optional>
#include <string>
#include <vector>

#include "ozna.h"
#include "tools/working_size.h"

namespace oznatool {

enum class Command { kDetect, kAlign };

/// What the user chose, with the defaults filled in.
struct Options {
  Command command = Command::kDetect;
  std::vector<std::string> photographs;  ///< At least one.
  bool json = false;
  std::string annotate;  ///< Target of annotated photographs; empty for none.
  std::string models;    ///< Directory of the models; empty for the default places.
  oznalib::CascadeParameter parameter = defaultParameter();
  int points = 68;  ///< align: 68 or 5.
  std::optional<oznalib::Rectangle<float>>
      box;  ///< align: the rectangle to align instead of detected faces.
};

/// Understands the arguments of main.
///
/// Returns  Nothing where the user asked for help or the version, which have then been written to
/// standard output. Errors   Failure with kExitUsage for arguments that cannot be understood or
/// cannot work, with kExitOutput where the
///          help cannot be written.
std::optional<Options> parseOptions(int argc, char** argv);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OPTIONS_H_
