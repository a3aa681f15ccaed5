/// What the system says about a failed call, with the limit of the process where one was met.

#ifndef OZNA_TOOLS_PROCESS_SYSTEM_REASON_H_
#define OZNA_TOOLS_PROCESS_SYSTEM_REASON_H_

#include <functional>
#include <string>
#include <thread>

#include "tools/process/exit_code.h"

namespace oznatool {

/// The text of an error number. Where the error is a limit of this process, the limit, its value
/// and the shell's command for it stand behind: "Too many open files: ... (ulimit -n)".
std::string reasonOf(int error);

/// kExitLimit for an error number that stands for a limit (open files, memory, processes), else
/// otherwise: a model file that cannot be opened for want of descriptors is not damaged.
ExitCode exitCodeOf(int error, ExitCode otherwise);

/// Whether the address space has room for the stack of one more thread. Where it does not, starting
/// one fails with the error of a limit of threads.
bool hasRoomForAThread();

/// Starts a thread. Errors  Failure with kExitLimit where the system allows none, or has no memory.
std::thread startThread(std::function<void()> body);

/// Makes sure that the process may open this many files besides those that are open, and raises its
/// own limit where it may. Errors  Failure with kExitLimit.
void requireDescriptors(int count);

/// Whether the address space of the process has a limit.
bool hasLittleAddressSpace();

}  // namespace oznatool

#endif  // OZNA_TOOLS_PROCESS_SYSTEM_REASON_H_
