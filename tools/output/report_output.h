/// The page of ozna report: photographs with their faces, to look at in a browser.

#ifndef OZNA_TOOLS_OUTPUT_REPORT_OUTPUT_H_
#define OZNA_TOOLS_OUTPUT_REPORT_OUTPUT_H_

#include <memory>
#include <string>

#include "tools/output/side_output.h"

namespace oznatool {

/// One page that needs no network: a thumbnail of each photograph and a chip of each face stand in
/// it as long as they take no more than 24 MiB; with more they lie in a folder beside it,
/// "report-files" for "report.html".
class ReportOutput : public SideOutput {
 public:
  /// page  Its path. Errors  Failure with kExitOutput where its folder does not exist.
  explicit ReportOutput(const std::string& page);
  ~ReportOutput() override;

  PreparedFiles prepare(const Input& input, const Record& record,
                        Photograph& photograph) const override;
  void noteFailure(const Record& record) const override;
  /// Writes the page, in place of one that is there. Errors  Failure with kExitOutput.
  void finish() const override;

 private:
  struct Page;
  const std::unique_ptr<Page> page_;  // Changed by write, noteFailure and finish alone.
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_REPORT_OUTPUT_H_
