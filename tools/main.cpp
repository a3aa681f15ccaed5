// The ozna program: finds faces in photographs and places landmarks on them, from the command line.

#include <exception>
#include <optional>

#include "tools/commands.h"
#include "tools/exit_code.h"
#include "tools/math_threads.h"
#include "tools/options.h"
#include "tools/streams.h"

namespace {

oznatool::ExitCode run(int argc, char** argv) {
  const std::optional<oznatool::Options> options = oznatool::parseOptions(argc, argv);
  if (!options) return oznatool::kExitOk;
  switch (options->command) {
    case oznatool::Command::kDetect:
      return oznatool::detectCommand(*options);
    case oznatool::Command::kAlign:
      return oznatool::alignCommand(*options);
  }
  return oznatool::kExitUsage;
}

}  // namespace

int main(int argc, char** argv) {
  oznatool::prepareStreams();
  oznatool::limitMathThreads();
  try {
    return run(argc, argv);
  } catch (const oznatool::Failure& failure) {
    oznatool::say(failure.what());
    return failure.code();
  } catch (const std::exception& error) {
    oznatool::say(error.what());
    return oznatool::kExitPhotographs;
  }
}
