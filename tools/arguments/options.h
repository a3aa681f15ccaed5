/// What the user chose on the command line, with the defaults filled in.

#ifndef OZNA_TOOLS_ARGUMENTS_OPTIONS_H_
#define OZNA_TOOLS_ARGUMENTS_OPTIONS_H_

#include <optional>
#include <string>
#include <vector>

#include "tools/run/face_finder.h"
#include "tools/run/photograph_run.h"

namespace oznatool {

enum class Command { kDetect, kAlign, kAnnotate, kCrop, kReport, kModels, kInfo, kBench };

/// Files that a run writes beside its records; an empty name stands for none.
struct FileOptions {
  std::string annotate;      ///< Target of annotated photographs.
  std::string chips;         ///< crop: directory of the chips.
  int chip_side = 256;       ///< crop: in pixels.
  std::string report;        ///< report: the page.
  std::string xmp;           ///< Directory of sidecar files.
  bool xmp_by_stem = false;  ///< "a.xmp" for "a.jpg", and not "a.jpg.xmp".
  bool embed = false;        ///< Regions are written into the photographs.
};

struct Options {
  Command command = Command::kDetect;
  RunOptions run;
  FindOptions find;
  FileOptions files;
  int rounds = 3;  ///< bench: how often each photograph is worked on.
};

/// Understands the arguments of main.
///
/// Returns  Nothing where the user asked for help or the version, which then have been written to
///          standard output.
/// Errors   Failure with kExitUsage for arguments that cannot be understood or cannot work, with
///          kExitOutput where the help cannot be written.
std::optional<Options> parseOptions(int argc, char** argv);

/// The commands, in the order of the help.
const std::vector<std::string>& commandNames();

/// The options of a command as the user types them, such as "--json" and "-j"; for an empty name
/// those that stand before a command.
std::vector<std::string> optionNames(const std::string& command);

}  // namespace oznatool

#endif  // OZNA_TOOLS_ARGUMENTS_OPTIONS_H_
