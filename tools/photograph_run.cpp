// The loop over the photographs.

#include "tools/photograph_run.h"

#include <algorithm>
#include <exception>
#include <optional>

#include "tools/annotate.h"
#include "tools/report.h"
#include "tools/streams.h"

namespace oznatool {
namespace {

struct Found {
  Photograph photograph;
  std::vector<Face> faces;
};

Found readAndFind(const std::string& path, const FaceFinder& finder) {
  Photograph photograph = readPhotograph(path);
  try {
    std::vector<Face> faces = finder(photograph);
    return {std::move(photograph), std::move(faces)};
  } catch (const Failure&) {
    throw;
  } catch (const std::exception& error) {
    // The library lets exceptions of the image library and failed allocations through.
    throw Failure(kExitPhotographs, printable(path) + ": " + error.what());
  }
}

}  // namespace

ExitCode runPhotographs(const Options& options, const AnnotationOutput* output,
                        const FaceFinder& finder) {
  ExitCode result = kExitOk;
  const auto tell = [&result](const Failure& failure) {
    say(failure.what());
    result = std::max(result, failure.code());
  };
  for (const std::string& path : options.photographs) {
    std::optional<Found> found;
    try {
      found = readAndFind(path, finder);
    } catch (const Failure& failure) {
      tell(failure);
      continue;
    }
    writeData(options.json ? jsonLine(found->photograph, found->faces)
                           : table(found->photograph, found->faces));
    if (output == nullptr) continue;
    try {
      annotate(found->photograph.pixels, found->faces);
      output->write(path, found->photograph.pixels);
    } catch (const Failure& failure) {
      tell(failure);
    }
  }
  return result;
}

}  // namespace oznatool
