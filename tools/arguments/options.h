/// What the user chose on the command line, with the defaults filled in.

#ifndef OZNA_TOOLS_ARGUMENTS_OPTIONS_H_
#define OZNA_TOOLS_ARGUMENTS_OPTIONS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "oznakit.hpp"
#include "tools/arguments/search_options.h"

namespace oznatool {

enum class Command { kDetect, kAlign, kAnnotate, kCrop, kReport, kModels, kInfo, kBench };
/// Of kWithFaces and kWithoutFaces, a record is the name of a photograph with, or without, faces.
enum class Format { kText, kJson, kCsv, kCoco, kWithFaces, kWithoutFaces, kNothing };
enum class ProgressMode { kAuto, kAlways, kNever };
enum class Choice { kAll, kBiggest, kBest };

/// What to do where the file of a result is there already.
enum class Existing {
  kAnotherName,  ///< The new one gets "-2", "-3", ... before its ending.
  kOverwrite,
  kSkip,  ///< The photograph is not worked on.
};

/// One of so many shares of the photographs, for runs beside each other.
struct Shard {
  int number = 1;  ///< From 1 to count.
  int count = 1;
};

/// Where the photographs are named.
struct InputOptions {
  std::vector<std::string> names;          ///< Files, folders, or "-" for a list on standard input.
  bool recursive = false;                  ///< Folders stand for the photographs in and below them.
  char list_end = '\n';                    ///< Ends a name of the list: a line break or NUL.
  Shard shard;                             ///< Photographs of other shards are left out.
  std::vector<std::string> left_out = {};  ///< Folders below the named ones that are passed over.
};

struct Options {
  Command command = Command::kDetect;
  InputOptions inputs;
  Format format = Format::kText;
  bool safe_cells = false;  ///< CSV: no name begins as a formula does.
  bool quiet = false;       ///< No data; the exit status says whether a face was found.
  ProgressMode progress = ProgressMode::kAuto;
  std::string resume;    ///< A previous output whose photographs are left out; empty for none.
  int jobs = 0;          ///< Photographs at once; 0 for as many as the machine allows.
  int memory_mib = 0;    ///< For photographs in memory; 0 for the default.
  std::string models;    ///< Directory of the models; empty for the default places.
  std::string annotate;  ///< Target of annotated photographs; empty for none.
  Existing existing = Existing::kAnotherName;
  bool xmp_by_stem = false;  ///< "a.xmp" for "a.jpg", and not "a.jpg.xmp".
  bool embed = false;        ///< Regions are written into the photographs.
  std::string xmp;           ///< Directory of sidecar files; empty for none.
  std::string chips;         ///< crop: directory of the chips.
  std::string report;        ///< report: the page; empty for none.
  int chip_side = 256;       ///< crop: in pixels.
  oznakit::SearchOptions search = preset("balanced");
  Choice choice = Choice::kAll;
  bool strict = false;              ///< A photograph that is cut short fails.
  int points = 0;                   ///< Landmarks a face: 0, 5 or 68.
  bool lists_points = false;        ///< Text: the landmarks stand below their face.
  std::optional<oznakit::Box> box;  ///< align: the rectangle to align instead of detected faces.
  int rounds = 3;                   ///< bench: how often each photograph is worked on.
};

/// The number of threads that a run uses: what the user asked for, or what the machine allows.
int jobsOf(const Options& options);

/// Memory for photographs in bytes: what the user asked for, or the default, which is 2048 MiB or
/// half of the memory that the process may use, whichever is less.
std::int64_t memoryOf(const Options& options);

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
