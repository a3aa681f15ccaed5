/// Writes sidecar files with the faces of photographs, for photo managers.

#ifndef OZNA_TOOLS_OUTPUT_SIDECAR_OUTPUT_H_
#define OZNA_TOOLS_OUTPUT_SIDECAR_OUTPUT_H_

#include <memory>
#include <string>
#include <unordered_set>

#include "tools/output/side_output.h"

namespace oznatool {

/// The sidecar of "holiday/photo.jpg" is "photo.jpg.xmp" in the directory; of a photograph below a
/// folder that the user gave, it lies below the same subfolders. One that is there keeps all but
/// the regions that this program wrote: see xmp_regions.h.
class SidecarOutput : public SideOutput {
 public:
  /// Makes the directory. by_stem  "photo.xmp" and not "photo.jpg.xmp". Errors  Failure with
  /// kExitOutput.
  SidecarOutput(const std::string& directory, bool by_stem);

  bool readsPixels() const override { return false; }
  bool isThere(const Input& input) const override;

  /// write refuses to use one sidecar for two photographs of the run.
  PreparedFiles prepare(const Input& input, const Record& record,
                        Photograph& photograph) const override;

 private:
  std::string pathFor(const Input& input) const;

  std::string directory_;
  bool by_stem_;
  // Used by write alone, which runs in one thread at a time.
  std::shared_ptr<std::unordered_set<std::string>> written_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_SIDECAR_OUTPUT_H_
