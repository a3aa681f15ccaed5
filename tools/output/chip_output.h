/// Writes the chips of the faces.

#ifndef OZNA_TOOLS_OUTPUT_CHIP_OUTPUT_H_
#define OZNA_TOOLS_OUTPUT_CHIP_OUTPUT_H_

#include <memory>
#include <string>
#include <unordered_set>

#include "tools/output/output_file.h"
#include "tools/output/side_output.h"

namespace oznatool {

/// Chips go into one directory: "photo-1.png", "photo-2.png", ... in the order of the faces, below
/// the photograph's own subfolder. A name that is taken is not used again, unless a run
/// with --resume finds an equal file there, which a killed run had written.
class ChipOutput : public SideOutput {
 public:
  /// Makes the directory. Errors  Failure with kExitOutput.
  ///
  /// taken  What to do with a name that is taken: see output_file.h.
  ChipOutput(const std::string& directory, int side_px, Taken taken);

  bool isThere(const Input& input) const override;
  void protect(const Input& input) const override;

  /// Faces without five landmarks get no chip. Sets the chips of the record's faces.
  PreparedFiles prepare(const Input& input, const Record& record,
                        Photograph& photograph) const override;

 private:
  std::string directory_;
  int side_px_;
  Taken taken_;
  // The names that this run wrote: used by write alone, which runs in one thread at a time.
  std::shared_ptr<std::unordered_set<std::string>> written_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_CHIP_OUTPUT_H_
