// Data that cannot be written.

#include "tools/output/report_output.h"

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class ReportOutput : public ProgramTest {};

TEST_F(ReportOutput, FullDiskIsReportedWithItsOwnStatus) {
  const std::string photograph = makePicture("a.png");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"detect", "--json", photograph},
        {"detect", photograph},
        {"--help"},
        {"--version"}}) {
    expectFailure(runOzna(arguments, "/dev/full"), 4, "standard output: No space left on device");
  }
}

}  // namespace
}  // namespace ozna_test
