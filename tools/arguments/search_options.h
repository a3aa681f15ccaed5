/// How the user wants photographs searched: the presets and numbers of the library by their names
/// on the command line.

#ifndef OZNA_TOOLS_ARGUMENTS_SEARCH_OPTIONS_H_
#define OZNA_TOOLS_ARGUMENTS_SEARCH_OPTIONS_H_

#include <string>
#include <vector>

#include "oznakit.hpp"

namespace oznatool {

/// The names of the presets, quickest first.
const std::vector<std::string>& presetNames();

/// What a preset stands for, without a margin. name  One of presetNames.
oznakit::SearchOptions preset(const std::string& name);

/// The numbers of a preset that searches the photograph at once.
oznakit_scan scanOf(oznakit::Preset preset);

/// Sets the smallest face to "40" (pixels) or "5%" of the longer side. Throws Failure with
/// kExitUsage where the text is neither, or out of range, and says what would be accepted.
void setMinFace(const std::string& text, oznakit::SearchOptions& options);

/// Throws Failure with kExitUsage, naming the option, where a number cannot work with any
/// photograph.
void checkScan(const oznakit_scan& scan);

}  // namespace oznatool

#endif  // OZNA_TOOLS_ARGUMENTS_SEARCH_OPTIONS_H_
