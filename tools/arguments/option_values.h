/// Reads the values of options, and says what would be accepted where one is wrong.

#ifndef OZNA_TOOLS_ARGUMENTS_OPTION_VALUES_H_
#define OZNA_TOOLS_ARGUMENTS_OPTION_VALUES_H_

#include <string>
#include <vector>

#include "oznakit.hpp"
#include "tools/run/inputs.h"

namespace oznatool {

/// A whole number from least to most. Throws Failure with kExitUsage, as all of these.
int wholeNumber(const std::string& option, const std::string& text, int least, int most);

/// A number of any size, also one that is not finite: what it may be is tested where it is known.
float number(const std::string& option, const std::string& text);

/// A number of percent from 0 to most, with or without "%" behind it.
double percent(const std::string& option, const std::string& text, double most);

/// A score from 0 to 1.
float score(const std::string& option, const std::string& text);

/// One of some words.
std::string word(const std::string& option, const std::string& text,
                 const std::vector<std::string>& words);

/// "I/N" with I from 1 to N and N at most 1000000.
Shard shard(const std::string& option, const std::string& text);

/// "left,top,right,bottom" with left below right and top below bottom, in pixels.
oznakit::Box box(const std::string& option, const std::string& text);

}  // namespace oznatool

#endif  // OZNA_TOOLS_ARGUMENTS_OPTION_VALUES_H_
