/// Reads which photographs a previous output of the program has, so that a run can continue behind
/// it.

#ifndef OZNA_TOOLS_RUN_PREVIOUS_OUTPUT_H_
#define OZNA_TOOLS_RUN_PREVIOUS_OUTPUT_H_

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/photograph/file_stamp.h"

namespace oznatool {

/// The photographs of a previous JSON or CSV output, failed ones included.
class PreviousOutput {
 public:
  /// Knows none.
  PreviousOutput() = default;

  /// Reads the whole file. A last line without its line break, as a killed run leaves it, does not
  /// count, nor does a last photograph without all of its rows; where standard output is this same
  /// file, they are cut off, and standard output continues at the end of the file, however it was
  /// opened, so that what is written begins where a record ends.
  ///
  /// Errors  Failure with kExitUsage where the file cannot be read or is not such an output; with
  /// kExitOutput where it cannot be cut.
  explicit PreviousOutput(const std::string& path);

  bool has(const std::string& photograph) const;
  /// Whether its file has another size or time now than it had then. False where the output does
  /// not say, as those of older versions, and where there is no file now.
  bool isReplaced(const std::string& photograph) const;
  std::size_t size() const { return photographs_.size(); }

  /// Whether standard output continues this file after a record of it.
  bool isContinued() const { return continued_; }

 private:
  // By their names, byte for byte.
  std::unordered_map<std::string, std::optional<FileStamp>> photographs_;
  bool continued_ = false;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_RUN_PREVIOUS_OUTPUT_H_
