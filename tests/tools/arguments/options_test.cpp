// Arguments that the program understands and refuses.

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Usage : public ProgramTest {};

TEST_F(Usage, RefusesMissingAndUnknownArguments) {
  const std::vector<std::vector<std::string>> wrong = {
      {},
      {"detect"},
      {"align"},
      {"find", "a.jpg"},
      {"detect", "--no-such-option", "a.jpg"},
      {"detect", "--points", "5", "a.jpg"},
      {"detect", "a.jpg", "--annotate"},
      {"detect", "a.jpg", "--annotate", ""},
      {"detect", "a.jpg", "--models", ""},
      {"align", "--points", "7", "a.jpg"},
  };
  for (const std::vector<std::string>& arguments : wrong) {
    const Outcome run = runOzna(arguments);
    expectFailure(run, 2, "ozna: ");
    EXPECT_EQ(run.out, "");
  }
  expectFailure(runOzna({}), 2, "ozna: no command or PHOTO given (see ozna --help)");
}

TEST_F(Usage, RefusesSearchParametersThatCannotWork) {
  const std::string photograph = makePicture("a.png");
  const std::vector<std::pair<std::string, std::string>> wrong = {
      {"--max-upscale", "nan"},         {"--max-upscale", "inf"},
      {"--max-upscale", "0"},           {"--max-upscale", "-1"},
      {"--max-upscale", "1e-60"},       {"--max-upscale", "two"},
      {"--max-image-side", "0"},        {"--max-image-side", "-640"},
      {"--max-image-side", "640.5"},    {"--min-face-fraction", "0"},
      {"--min-face-fraction", "-0.05"}, {"--min-face-fraction", "nan"},
      {"--min-face-fraction", "1.5"},   {"--pyramid-levels", "0"},
      {"--pyramid-levels", "-3"},       {"--pyramid-factor", "1"},
      {"--pyramid-factor", "0.8"},      {"--pyramid-factor", "nan"},
      {"--window-size", "0"},           {"--window-size", "-13"},
      {"--window-size", "99999999999"},
  };
  for (const auto& [option, value] : wrong) {
    SCOPED_TRACE(option + " " + value);
    const Outcome run = runOzna({"detect", option, value, photograph});
    expectFailure(run, 2, option);
    EXPECT_EQ(run.out, "");
  }
}

TEST_F(Usage, RefusesSmallestFaceBelowOnePixel) {
  // 640 * 0.0015 is 0.96 pixels, which are cut to 0.
  const Outcome run = runOzna({"detect", "--min-face-fraction", "0.0015", makePicture("a.png")});
  expectFailure(run, 2, "--min-face-fraction");
}

TEST_F(Usage, RefusesWorkingImageBeyondFirstNetwork) {
  // F = 6 pixels, so that a photograph of 640 pixels is enlarged 13 / 6 times, to 1386.
  const Outcome run =
      runOzna({"detect", "--json", "--min-face-fraction", "0.01", makePicture("a.png", 640, 640)});
  expectFailure(run, 2, "1386 x 1386");
  EXPECT_EQ(parsed(run.out)["error"]["kind"], "parameter");
  // 640 * 13 / F is at most 384 for F of 22 or more: 0.035 of 640 is 22.4, 0.034 is 21.8.
  expectFailure(run, 2, "--min-face-fraction 0.035 would be accepted");
}

TEST_F(Usage, AcceptsWideWorkingImageWithinAreaOfFirstNetwork) {
  // 640 by 32 pixels, F = 16: the working image is 520 by 26, wider than 384 but of a smaller area
  // than 384 squared.
  const Outcome run =
      runOzna({"detect", "--json", "--min-face-fraction", "0.025", makePicture("a.png", 640, 32)});
  EXPECT_EQ(run.exit_code, 0) << run.err;
}

TEST_F(Usage, RefusesBoxesThatAreNone) {
  const std::string photograph = makePicture("a.png");
  const std::string models = makeLandmarkModels();
  for (const char* box : {"", "1", "1,2,3", "1,2,3,4,5", "a,2,3,4", "1,2,3,4x", "1;2;3;4", "1,,3,4",
                          "5,2,5,4", "1,4,3,4", "6,2,5,4", "nan,2,3,4", "1,2,inf,4", "1,2,1e9,4"}) {
    SCOPED_TRACE(box);
    const Outcome run = runOzna({"align", "--models", models, "--box", box, photograph});
    expectFailure(run, 2, "--box");
    EXPECT_EQ(run.out, "");
  }
}

TEST_F(Usage, TellsVersion) {
  const Outcome run = runOzna({"--version"});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.out, "ozna " OZNA_VERSION "\n");
}

TEST_F(Usage, TakesNamesOfCommandsAsPhotographs) {
  const Outcome run = runOzna({"detect", "align", "detect"});
  expectFailure(run, 1, "ozna: align: ");
  expectFailure(run, 1, "ozna: detect: ");
}

TEST_F(Usage, TakesEverythingBehindTwoDashesAsPhotographs) {
  const Outcome run = runOzna({"detect", "--", "--json"});
  expectFailure(run, 1, "ozna: --json: No such file or directory");
}

}  // namespace
}  // namespace ozna_test
