/// Makes shorter cascades out of one, so that the cost of each stage shows by difference.

#ifndef OZNA_TOOLS_COMMANDS_CASCADE_PREFIXES_H_
#define OZNA_TOOLS_COMMANDS_CASCADE_PREFIXES_H_

#include <string>
#include <vector>

namespace oznatool {

/// Directories for the first stage, the first two, ... and all but the last of a cascade, in a
/// temporary folder that goes with this object. Their files are links to those of the cascade.
class CascadePrefixes {
 public:
  /// directory  Of a cascade that has been opened, with a separator at its end.
  /// Errors     Failure with kExitOutput where the folder cannot be made.
  explicit CascadePrefixes(const std::string& directory);
  ~CascadePrefixes();
  CascadePrefixes(const CascadePrefixes&) = delete;
  CascadePrefixes& operator=(const CascadePrefixes&) = delete;

  /// Directories of the shorter cascades, shortest first; none for a cascade of one stage.
  const std::vector<std::string>& directories() const { return directories_; }

 private:
  std::string folder_;
  std::vector<std::string> directories_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_COMMANDS_CASCADE_PREFIXES_H_
