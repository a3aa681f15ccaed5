/// The line that a run ends with: what was worked on, and what was not.

#ifndef OZNA_TOOLS_RUN_RUN_SUMMARY_H_
#define OZNA_TOOLS_RUN_RUN_SUMMARY_H_

#include <cstddef>
#include <map>
#include <string>

namespace oznatool {

/// How many files of folders were no photographs, by their kind.
using PassedOver = std::map<std::string, std::size_t>;

/// The kind under which a file of a folder is counted that the program does not read: its ending in
/// small letters without the dot, as "mov"; "without ending"; "others" for an ending that is not a
/// word.
std::string kindOfFile(const std::string& name);

/// What became of the inputs of a run.
struct RunSummary {
  std::size_t photographs = 0;   ///< Worked on, failed ones included.
  std::size_t faces = 0;         ///< In all of them.
  std::size_t failed = 0;        ///< Of the photographs.
  std::size_t done_before = 0;   ///< Left out since a previous output has them.
  std::size_t named_before = 0;  ///< Left out since the same path was named before.
  PassedOver passed_over;
};

/// "12 photographs, 31 faces; 1 failed; passed over: 3 dng, 1 mov": the parts that are not empty,
/// and of what was passed over the kinds with most files first, at most eight of them.
std::string summaryLine(const RunSummary& summary);

}  // namespace oznatool

#endif  // OZNA_TOOLS_RUN_RUN_SUMMARY_H_
