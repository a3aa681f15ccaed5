/// Tries a cascade in a process of its own, since the library ends the process on a damaged file.

#ifndef OZNA_TOOLS_TRIAL_LOAD_H_
#define OZNA_TOOLS_TRIAL_LOAD_H_

#include "tools/cascade_files.h"

namespace oznatool {

/// Loads the cascade in a child process and searches a small picture with it, so that files that do
/// not fit one another show as well. Returns when the child has done so.
///
/// Errors   Failure with kExitModel where the child fails or dies. Its message begins with the path
/// of the file that was
///          read last, or with the root of the cascade, and quotes what the library said.
///          std::bad_alloc where the child has no memory.
/// Threads  None may run besides the caller's: the child is a copy of this thread alone.
/// Cost     That of one load.
void tryCascade(const CascadeFiles& files);

}  // namespace oznatool

#endif  // OZNA_TOOLS_TRIAL_LOAD_H_
