// Opening models.

#include "tools/run/opened_models.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "tools/process/exit_code.h"
#include "tools/process/streams.h"
#include "tools/process/system_reason.h"

namespace oznatool {
namespace {

// A file that cannot be opened for want of descriptors is neither missing nor damaged.
void requireDescriptor() {
  const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (descriptor == -1 && exitCodeOf(errno, kExitModel) == kExitLimit) {
    throw Failure(kExitLimit, "model files cannot be opened: " + reasonOf(errno));
  }
  if (descriptor != -1) close(descriptor);
}

}  // namespace

oznakit::Finder openModels(const std::string& directory, Models models) {
  oznakit::ModelOptions options;
  options.directory = directory;
  options.detection = models != Models::kLandmarks;
  options.landmarks = models != Models::kCascade;
  try {
    return oznakit::Finder(options);
  } catch (const oznakit::Error& error) {
    requireDescriptor();
    throw Failure(kExitModel, printable(error.what()));
  }
}

}  // namespace oznatool
