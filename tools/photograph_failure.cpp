// Names and messages of failures.

#include "tools/photograph_failure.h"

#include "tools/streams.h"

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

}  // namespace oznatool
