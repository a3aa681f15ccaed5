// Names and messages of failures.

#include "tools/photograph/photograph_failure.h"

#include <new>
#include <opencv2/core.hpp>
#include <opencv2/core/base.hpp>

#include "tools/process/streams.h"

namespace oznatool {

const char* nameOf(FailureKind kind) {
  switch (kind) {
    case FailureKind::kRead:
      return "read";
    case FailureKind::kFormat:
      return "format";
    case FailureKind::kMemory:
      return "memory";
    case FailureKind::kParameter:
      return "parameter";
    case FailureKind::kSearch:
      return "search";
  }
  return "";
}

PhotographFailure::PhotographFailure(const std::string& path, FailureKind kind,
                                     const std::string& reason)
    : Failure(kind == FailureKind::kParameter ? kExitUsage : kExitPhotographs,
              printable(path) + ": " + reason),
      kind_(kind),
      reason_(reason) {}

PhotographFailure failureOf(const std::string& path, const std::exception& error) {
  const auto* const of_images = dynamic_cast<const cv::Exception*>(&error);
  if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr ||
      (of_images != nullptr && of_images->code == cv::Error::StsNoMem)) {
    return {path, FailureKind::kMemory, "no memory"};
  }
  return {path, FailureKind::kSearch, error.what()};
}

}  // namespace oznatool
