/// Files that a run writes beside its records.

#ifndef OZNA_TOOLS_OUTPUT_SIDE_OUTPUT_H_
#define OZNA_TOOLS_OUTPUT_SIDE_OUTPUT_H_

#include <cstdint>
#include <functional>

#include "tools/output/record.h"
#include "tools/photograph/input.h"
#include "tools/photograph/photograph.h"

namespace oznatool {

/// The files of one photograph, ready to be written.
struct PreparedFiles {
  std::int64_t bytes = 0;  ///< Held in memory until write has run.
  /// Writes them and notes them in the record. Called once, before the record is written, one
  /// photograph after the other in their order, in any thread. Throws Failure with kExitOutput.
  std::function<void(Record&)> write;
};

class SideOutput {
 public:
  virtual ~SideOutput() = default;

  /// Whether prepare looks at the pixels, which are then those of the whole photograph. Otherwise
  /// they may have been decoded smaller.
  virtual bool readsPixels() const { return true; }

  /// Whether prepare makes a copy of the photograph, for which alpha channel and metadata are kept.
  virtual bool copies() const { return false; }

  /// Whether the files of a photograph are there already, where that is known before it is looked
  /// at.
  virtual bool isThere(const Input& /*input*/) const { return false; }

  /// Refuses a run whose files could replace this photograph, which is one of its own. Called for
  /// all of them before the first is worked on, where files are overwritten. Errors  Failure with
  /// kExitUsage.
  virtual void protect(const Input& /*input*/) const {}

  /// Takes note of a photograph that failed, in its place among the calls of write.
  virtual void noteFailure(const Record& /*record*/) const {}

  /// Writes what speaks of the whole run, also of an interrupted one. Called once, last.
  /// Errors  Failure with kExitOutput.
  virtual void finish() const {}

  /// Makes the files of one photograph in memory.
  ///
  /// photograph  Its pixels may be changed by the output that comes last.
  /// Errors      Failure with kExitOutput where they cannot be made.
  /// Threads     Any number at once.
  virtual PreparedFiles prepare(const Input& input, const Record& record,
                                Photograph& photograph) const = 0;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_SIDE_OUTPUT_H_
