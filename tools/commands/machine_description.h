/// What the program runs on: instruction set and libraries.

#ifndef OZNA_TOOLS_COMMANDS_MACHINE_DESCRIPTION_H_
#define OZNA_TOOLS_COMMANDS_MACHINE_DESCRIPTION_H_

#include <string>
#include <utility>
#include <vector>

namespace oznatool {

using NamedTexts = std::vector<std::pair<std::string, std::string>>;

/// Name and value of each: what the program was built for, what the processor offers, and which
/// kernels the mathematics and image libraries chose for it.
NamedTexts instructionSets();

/// Name and version of each library, and the file of those that were loaded from one.
NamedTexts libraryVersions();

}  // namespace oznatool

#endif  // OZNA_TOOLS_COMMANDS_MACHINE_DESCRIPTION_H_
