/// Makes shorter cascades out of one, so that the cost of each stage shows by difference.

#ifndef OZNA_TOOLS_CASCADE_PREFIXES_H_
#define OZNA_TOOLS_CASCADE_PREFIXES_H_

#include <string>
#include <vector>

#include "tools/cascade_files.h"

namespace oznatool {

/// Directories for the first stage, the first two, ... and all but the last of a cascade, in a
/// temporary folder that goes with this object. Their files are links to those of the cascade.
class CascadePrefixes {
 public:
  /// Errors  Failure with kExitOutput where the folder cannot be made.
  explicit CascadePrefixes(const CascadeFiles& whole);
  ~CascadePrefixes();
  CascadePrefixes(const CascadePrefixes&) = delete;
  CascadePrefixes& operator=(const CascadePrefixes&) = delete;

  /// The shorter cascades, shortest first; none for a cascade of one stage.
  const std::vector<CascadeFiles>& files() const { return files_; }

 private:
  std::string folder_;
  std::vector<CascadeFiles> files_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_CASCADE_PREFIXES_H_
