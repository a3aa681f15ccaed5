/// What happens to results of previous runs, and that no photograph is taken for one.

#ifndef OZNA_TOOLS_OUTPUT_EXISTING_FILES_H_
#define OZNA_TOOLS_OUTPUT_EXISTING_FILES_H_

#include <string>
#include <vector>

#include "tools/output/output_file.h"

namespace oznatool {

/// What to do where the file of a result is there already.
enum class Existing {
  kAnotherName,  ///< The new one gets "-2", "-3", ... before its ending.
  kOverwrite,
  kSkip,  ///< The photograph is not worked on.
};

/// What new files do with a name that is taken.
///
/// continues  Whether the run continues a previous one: a file that is as it would be written is
///            then its own.
Taken takenOf(Existing existing, bool continues);

/// Refuses a directory whose files are to be overwritten where it is, or lies above, the folder of
/// a photograph: a photograph could have the name of a result. names  Of files and folders.
/// Errors  Failure with kExitUsage.
void refuseToOverwritePhotographs(const std::string& directory,
                                  const std::vector<std::string>& names);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_EXISTING_FILES_H_
