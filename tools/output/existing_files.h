/// What happens to results of former runs, and that photographs are none.

#ifndef OZNA_TOOLS_OUTPUT_EXISTING_FILES_H_
#define OZNA_TOOLS_OUTPUT_EXISTING_FILES_H_

#include <string>
#include <vector>

#include "tools/arguments/options.h"
#include "tools/output/output_file.h"

namespace oznatool {

/// What new files do with a name that is taken, as the options say.
Taken takenOf(const Options& options);

/// Refuses a directory whose files are to be overwritten where it is, or lies above, the folder of a
/// photograph: a photograph could have the name of a result. names  Of files and folders.
/// Errors  Failure with kExitUsage.
void refuseToOverwritePhotographs(const std::string& directory,
                                  const std::vector<std::string>& names);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_EXISTING_FILES_H_
