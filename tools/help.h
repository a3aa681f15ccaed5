/// The help texts of the program: one screen each.

#ifndef OZNA_TOOLS_HELP_H_
#define OZNA_TOOLS_HELP_H_

#include <string>

namespace oznatool {

/// The help of a command, or of the program for an empty name: at most 24 lines of 80 characters.
std::string helpText(const std::string& command);

}  // namespace oznatool

#endif  // OZNA_TOOLS_HELP_H_
