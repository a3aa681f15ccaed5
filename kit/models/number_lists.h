/// The text files of a cascade that are no network definitions: the stage list, a mean, the table
/// of the calibration.

#ifndef OZNA_KIT_MODELS_NUMBER_LISTS_H_
#define OZNA_KIT_MODELS_NUMBER_LISTS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "detector/detector_impl.h"

namespace kit {

/// A line of the stage list.
struct ListedStage {
  std::string directory;  ///< Relative to that of the list.
  float threshold = 0;
};

// Numbers are read with a point, whatever the host's locale. Every function throws Error with
// OZNAKIT_BAD_MODEL that names the file and, where one is at fault, the line.
//
// label  Of the file, for messages.
// text   Its content.

/// At least one stage and at most 16. Lines that begin with '#' are skipped.
std::vector<ListedStage> parseStageList(const std::string& label, std::string_view text);

/// Numbers between white space. count  How many there must be.
std::vector<float> parseMean(const std::string& label, std::string_view text, std::size_t count);

/// Three numbers for each pattern: whole shifts to the right and down, and a scale of 0.1 to 10.
/// patterns  How many there must be at least.
std::vector<oznalib::OffsetScale> parseOffsets(const std::string& label, std::string_view text,
                                               std::size_t patterns);

}  // namespace kit

#endif  // OZNA_KIT_MODELS_NUMBER_LISTS_H_
