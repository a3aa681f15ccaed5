/// The help texts of the program: at most a screen and a half each.

#ifndef OZNA_TOOLS_ARGUMENTS_HELP_H_
#define OZNA_TOOLS_ARGUMENTS_HELP_H_

#include <string>

namespace oznatool {

/// The help of a command, in at most 48 lines of 80 characters, or of the program for any other
/// name, in 24.
std::string helpText(const std::string& command);

}  // namespace oznatool

#endif  // OZNA_TOOLS_ARGUMENTS_HELP_H_
