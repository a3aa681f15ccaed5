/// The failure of one photograph, which the others survive.

#ifndef OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_FAILURE_H_
#define OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_FAILURE_H_

#include <exception>
#include <string>

#include "tools/process/exit_code.h"

namespace oznatool {

/// Why a photograph has no faces in the data. The names stand in the data: they never change.
enum class FailureKind {
  kRead,       ///< "read": it cannot be opened or read to its end.
  kFormat,     ///< "format": it is empty, damaged, cut short or in no known image format.
  kMemory,     ///< "memory": it needs more memory than the program may take.
  kParameter,  ///< "parameter": the search parameters cannot work with its size.
  kSearch,     ///< "search": the library gave up on it.
};

/// The name of a kind in the data.
const char* nameOf(FailureKind kind);

/// Its message is the path, a colon and the reason; its status kExitUsage for kParameter, else
/// kExitPhotographs.
class PhotographFailure : public Failure {
 public:
  PhotographFailure(const std::string& path, FailureKind kind, const std::string& reason);
  FailureKind kind() const { return kind_; }
  const std::string& reason() const { return reason_; }

 private:
  FailureKind kind_;
  std::string reason_;
};

/// What an exception of a library means for a photograph: kMemory where there was none, else
/// kSearch with its words.
PhotographFailure failureOf(const std::string& path, const std::exception& error);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_PHOTOGRAPH_FAILURE_H_
