/// Writes the faces of photographs into the photographs, for photo managers.

#ifndef OZNA_TOOLS_OUTPUT_EMBED_OUTPUT_H_
#define OZNA_TOOLS_OUTPUT_EMBED_OUTPUT_H_

#include <memory>

#include "tools/output/side_output.h"

namespace oznatool {

/// The regions of xmp_regions.h in the XMP packet of a JPEG or PNG file. All other bytes of the
/// file stay as they are, and the file is replaced whole or not at all: see output_file.h. A
/// photograph in which nothing changes is not written, as is one without faces and without regions.
///
/// The record of a photograph that was written has the size and time of the new file, so that a run
/// that continues a previous one takes it for done.
class EmbedOutput : public SideOutput {
 public:
  EmbedOutput();
  ~EmbedOutput() override;

  bool readsPixels() const override { return false; }

  /// Whether regions of ours stand in the file.
  bool isThere(const Input& input) const override;

  PreparedFiles prepare(const Input& input, const Record& record,
                        Photograph& photograph) const override;

 private:
  struct Written;
  // Used by write alone, which runs in one thread at a time.
  std::shared_ptr<Written> written_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_EMBED_OUTPUT_H_
