// The ozna program: finds faces in photographs and places landmarks on them, from the command line.

#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <optional>

#include "tools/arguments/options.h"
#include "tools/commands/commands.h"
#include "tools/process/exit_code.h"
#include "tools/process/machine_limits.h"
#include "tools/process/math_threads.h"
#include "tools/process/streams.h"
#include "tools/process/system_reason.h"

namespace {

using oznatool::ExitCode;

// Before main, where constants of ours and of the libraries' headers are made, nobody catches an
// exception. The priority puts this before them.
[[noreturn]] void endWithoutMemory() {
  oznatool::sayNoMemory();
  _exit(oznatool::kExitLimit);
}
// Where a library's function that promises not to throw gets no memory, the program ends at once,
// and says why all the same.
[[noreturn]] void endAfterBrokenPromise() {
  try {
    if (std::current_exception() != nullptr) throw;
  } catch (const std::bad_alloc&) {
    endWithoutMemory();
  } catch (...) {
  }
  std::abort();
}
__attribute__((constructor(101))) void prepareConstants() {
  std::set_new_handler(endWithoutMemory);
}

ExitCode run(const oznatool::Options& options) {
  // Of the work itself: a model file, and a photograph per thread, and what is open for a moment.
  constexpr int kBesideThreads = 16;
  const int threads = options.command == oznatool::Command::kInfo ? 0
                      : options.command == oznatool::Command::kBench
                          ? 1
                          : oznatool::threadCount(options.run.jobs);
  oznatool::requireDescriptors(kBesideThreads + 2 * threads);
  switch (options.command) {
    case oznatool::Command::kDetect:
    case oznatool::Command::kAlign:
    case oznatool::Command::kAnnotate:
    case oznatool::Command::kCrop:
    case oznatool::Command::kReport:
      return oznatool::faceCommand(options);
    case oznatool::Command::kModels:
      return oznatool::modelsCommand(options);
    case oznatool::Command::kInfo:
      return oznatool::infoCommand(options);
    case oznatool::Command::kBench:
      return oznatool::benchCommand(options);
  }
  return oznatool::kExitUsage;
}

// The exit status of the program.
int runArguments(int argc, char** argv) {
  oznatool::limitMathThreads();
  std::optional<oznatool::Options> options;
  ExitCode status = oznatool::kExitOk;
  try {
    options = oznatool::parseOptions(argc, argv);
    if (options) return run(*options);
  } catch (const oznatool::Failure& failure) {
    oznatool::say(failure.what());
    status = failure.code();
  } catch (const std::bad_alloc&) {
    oznatool::sayNoMemory();
    status = oznatool::kExitLimit;
  } catch (const std::exception& error) {
    oznatool::say(error.what());
    status = oznatool::kExitPhotographs;
  } catch (...) {
    oznatool::say("a library failed without a reason");
    status = oznatool::kExitPhotographs;
  }
  const bool is_quiet_error = options && options->run.quiet && status != oznatool::kExitOk;
  return is_quiet_error ? oznatool::kExitQuietError : status;
}

}  // namespace

int main(int argc, char** argv) {
  std::set_new_handler(nullptr);
  std::set_terminate(endAfterBrokenPromise);
  oznatool::prepareStreams();
  const int status = runArguments(argc, argv);
  // Everything is written. A mathematics library whose threads found no room when it was loaded
  // would wait for them for ever in its own end.
  if (oznatool::hasLittleAddressSpace()) _exit(status);
  return status;
}
