// --quiet: no data, and the exit status of grep.

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Quiet : public ProgramTest {
 protected:
  const std::string face_ = OZNA_SOURCE_DIR "/samples/astronaut.png";
  const std::string none_ = makePicture("none.png");
  const std::string missing_ = at("missing.png");
};

TEST_F(Quiet, TellsByItsStatusWhetherAFaceWasFound) {
  const std::vector<std::pair<std::vector<std::string>, int>> cases = {
      {{face_}, 0},           {{none_}, 1},           {{missing_}, 2},       {{none_, face_}, 0},
      {{missing_, face_}, 0}, {{face_, missing_}, 0}, {{missing_, none_}, 2}};
  for (const auto& [photographs, status] : cases) {
    std::vector<std::string> arguments = {"detect", "-q"};
    arguments.insert(arguments.end(), photographs.begin(), photographs.end());
    const Outcome run = runOzna(arguments);
    EXPECT_EQ(run.exit_code, status) << photographs.front();
    EXPECT_EQ(run.out, "");
  }
}

TEST_F(Quiet, ErrorsOfEveryKindAreTwo) {
  EXPECT_EQ(runOzna({"detect", "-q", "--models", at("nowhere"), none_}).exit_code, 2);
  EXPECT_EQ(runOzna({"detect", "-q", "--no-such-option", none_}).exit_code, 2);
}

TEST_F(Quiet, NeedsNoStandardOutput) {
  EXPECT_EQ(runOzna({"detect", "-q", face_}, "/dev/full").exit_code, 0);
}

TEST_F(Quiet, EndsWithTheFirstFaceUnlessFilesAreWritten) {
  EXPECT_EQ(runOzna({"detect", "-q", "-j1", face_, missing_}).err, "");
  const Outcome run = runOzna({"detect", "-q", "-j1", "--xmp", at("xmp"), face_, none_});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_TRUE(std::filesystem::exists(at("xmp/none.png.xmp")));
}

}  // namespace
}  // namespace ozna_test
