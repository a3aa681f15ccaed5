/// What the exit status of the program says, and the exception that carries one to the place where
/// the program ends.

#ifndef OZNA_TOOLS_PROCESS_EXIT_CODE_H_
#define OZNA_TOOLS_PROCESS_EXIT_CODE_H_

#include <stdexcept>
#include <string>

namespace oznatool {

/// Scripts test these numbers: they never change. Where several apply, the highest of 1, 2 and 4 is
/// the status; a model that cannot be used ends the program with 3 before the first photograph, and
/// one that the machine has no room for with 5 at any time. With --quiet the status is that of grep
/// instead: 0 a face was found, 1 none, 2 an error.
enum ExitCode : int {
  kExitOk = 0,           ///< Every photograph was worked on.
  kExitPhotographs = 1,  ///< Some photographs could not be read; the others were worked on.
  kExitUsage = 2,   ///< Arguments that cannot be understood, or search parameters that cannot work.
  kExitModel = 3,   ///< A model file is missing or damaged.
  kExitOutput = 4,  ///< Standard output or another file of results could not be written.
  kExitLimit = 5,   ///< No memory, or a limit of the process: open files, threads.
  kExitQuietNone = 1,      ///< With --quiet: no face was found.
  kExitQuietError = 2,     ///< With --quiet: no face was found, and something went wrong.
  kExitInterrupted = 130,  ///< Ended by an interrupt; what was done before is written.
  kExitTerminated = 143,   ///< The same by a request to end, SIGTERM.
};

/// A failure with its message, without the program's name in front, and the exit status that it
/// asks for.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& message) : std::runtime_error(message), code_(code) {}
  ExitCode code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_PROCESS_EXIT_CODE_H_
