// The table for reading.

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class TextReport : public ProgramTest {};

TEST_F(TextReport, TableHasPhotographAndFaces) {
  const Outcome run = runOzna({"detect", OZNA_SOURCE_DIR "/samples/astronaut.png"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], OZNA_SOURCE_DIR "/samples/astronaut.png  512 x 512  1 face");
  EXPECT_NE(lines[1].find("score"), std::string::npos);
  EXPECT_EQ(run.err, "");
}

}  // namespace
}  // namespace ozna_test
