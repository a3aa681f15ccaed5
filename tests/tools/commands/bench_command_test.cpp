// The command that measures.

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class BenchCommand : public ProgramTest {};

TEST_F(BenchCommand, MeasuresTheShareOfEachStage) {
  const Outcome run = runOzna({"bench", "--json", "--rounds", "1", "--points", "5",
                               OZNA_SOURCE_DIR "/samples/astronaut.png", makePicture("a.png")});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json reported = parsed(run.out);
  EXPECT_EQ(reported["photographs"], 2);
  EXPECT_EQ(reported["faces"], 1);
  std::vector<std::string> names;
  double share = 0;
  double milliseconds = 0;
  for (const auto& stage : reported["stages"]) {
    names.push_back(stage["stage"].get<std::string>());
    share += stage["share"].get<double>();
    milliseconds += stage["milliseconds"].get<double>();
  }
  EXPECT_EQ(names, (std::vector<std::string>{"read", "decode", "scan", "network 2",
                                             "network 3 and calibration",
                                             "network 4 and calibration", "landmarks"}));
  EXPECT_NEAR(share, 1, 1e-6);
  EXPECT_NEAR(milliseconds, reported["milliseconds"].get<double>(), 1e-6 * milliseconds);
}

TEST_F(BenchCommand, GoesOnBehindPhotographsThatFail) {
  const Outcome run = runOzna({"bench", "--rounds", "1", at("missing.png"), makePicture("a.png")});
  expectFailure(run, 1, "missing.png: No such file or directory");
  EXPECT_EQ(run.out.rfind("1 photograph of ", 0), 0U) << run.out;
  expectFailure(runOzna({"bench", at("missing.png")}), 1, "no photograph could be timed");
  expectFailure(runOzna({"bench", "--rounds", "0", at("a.png")}), 2,
                "--rounds takes a whole number from 1 to 1000");
}

}  // namespace
}  // namespace ozna_test
