// The records of a run.

#include "tools/output/report.h"

#include <cstddef>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Report : public ProgramTest {};

TEST_F(Report, FindsTheFaceOfTheAstronaut) {
  const Outcome run = runOzna({"detect", "--json", OZNA_SOURCE_DIR "/samples/astronaut.png"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json line = parsed(run.out);
  EXPECT_EQ(line["width"], 512);
  EXPECT_EQ(line["height"], 512);
  ASSERT_EQ(line["faces"].size(), 1U) << run.out;
  const nlohmann::ordered_json& face = line["faces"][0];
  // The tip of her nose, read off the picture, and the distance from chin to hairline, about 115
  // pixels.
  EXPECT_LT(face["left"], 220);
  EXPECT_GT(face["right"], 220);
  EXPECT_LT(face["top"], 120);
  EXPECT_GT(face["bottom"], 120);
  const float width = face["right"].get<float>() - face["left"].get<float>();
  EXPECT_GT(width, 60);
  EXPECT_LT(width, 200);
}

TEST_F(Report, LinesFollowTheOrderOfArguments) {
  std::vector<std::string> arguments = {"detect", "--json"};
  for (const char* name : {"c.png", "a.png", "b.png"}) arguments.push_back(makePicture(name));
  const Outcome run = runOzna(arguments);
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(parsed(lines[i])["path"], arguments[i + 2]);
}

}  // namespace
}  // namespace ozna_test
