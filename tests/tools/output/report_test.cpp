// The program's data: JSON lines, the table, and what becomes of them when they cannot be written.

#include <sys/wait.h>

#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Report : public ProgramTest {};

std::vector<std::string> keysOf(const nlohmann::ordered_json& object) {
  std::vector<std::string> keys;
  for (const auto& item : object.items()) keys.push_back(item.key());
  return keys;
}

// The text of the number behind a key.
std::string numberText(const std::string& line, const std::string& key) {
  const std::size_t at = line.find("\"" + key + "\":") + key.size() + 3;
  return line.substr(at, line.find_first_of(",}", at) - at);
}

// The fewest digits that give back a float, in plain notation where that is as short.
std::string shortest(float value) {
  char text[64];
  return {text, std::to_chars(text, text + sizeof(text), value).ptr};
}

TEST_F(Report, JsonKeysStandInTheirOrder) {
  const Outcome run = runOzna({"detect", "--json", OZNA_SOURCE_DIR "/samples/astronaut.png"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  ASSERT_EQ(linesOf(run.out).size(), 1U);
  const nlohmann::ordered_json line = parsed(run.out);
  EXPECT_EQ(keysOf(line), (std::vector<std::string>{"schema", "path", "bytes", "modified", "width",
                                                    "height", "orientation", "faces"}));
  // The sample's size in bytes, and a time in UTC to the nanosecond.
  EXPECT_EQ(line["bytes"], std::filesystem::file_size(OZNA_SOURCE_DIR "/samples/astronaut.png"));
  EXPECT_EQ(line["modified"].get<std::string>().size(),
            std::string("2026-11-22T09:41:07.000000000Z").size());
  EXPECT_EQ(line["schema"], 1);
  EXPECT_EQ(line["orientation"], 1);
  ASSERT_GE(line["faces"].size(), 1U);
  EXPECT_EQ(keysOf(line["faces"][0]),
            (std::vector<std::string>{"left", "top", "right", "bottom", "score"}));
}

TEST_F(Report, JsonNumbersAreShortestThatGiveBackTheFloat) {
  const Outcome run = runOzna({"detect", "--json", OZNA_SOURCE_DIR "/samples/astronaut.png"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::string score = numberText(run.out, "score");
  const float value = std::strtof(score.c_str(), nullptr);
  EXPECT_GT(value, 0.9F);
  EXPECT_LE(value, 1.0F);
  // "1.0" may stand for "1".
  EXPECT_LE(score.size(), std::max<std::size_t>(3, shortest(value).size()));
}

TEST_F(Report, JsonGivesBackRectanglesBitForBit) {
  const std::string box = "0.1,0.30000001,17.123457,19.999998";
  const Outcome run = runOzna(
      {"align", "--json", "--models", makeLandmarkModels(), "--box", box, makePicture("a.png")});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(numberText(run.out, "left"), "0.1");
  EXPECT_EQ(numberText(run.out, "top"), "0.3");  // The same float as 0.30000001.
  EXPECT_EQ(numberText(run.out, "right"), "17.123457");
  EXPECT_EQ(numberText(run.out, "bottom"), "19.999998");
}

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

TEST_F(Report, PathThatIsNoUtf8IsReplacedInJson) {
  const std::string path = at("a\xFF.png");
  std::filesystem::copy_file(makePicture("a.png"), path);
  const Outcome run = runOzna({"detect", "--json", path});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(parsed(run.out)["path"], at("a\xEF\xBF\xBD.png"));
}

TEST_F(Report, TableHasPhotographAndFaces) {
  const Outcome run = runOzna({"detect", OZNA_SOURCE_DIR "/samples/astronaut.png"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0], OZNA_SOURCE_DIR "/samples/astronaut.png  512 x 512  1 face");
  EXPECT_NE(lines[1].find("score"), std::string::npos);
  EXPECT_EQ(run.err, "");
}

TEST_F(Report, FullDiskIsReportedWithItsOwnStatus) {
  const std::string photograph = makePicture("a.png");
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"detect", "--json", photograph},
        {"detect", photograph},
        {"--help"},
        {"--version"}}) {
    expectFailure(runOzna(arguments, "/dev/full"), 4, "standard output: No space left on device");
  }
}

TEST_F(Report, ClosedPipeEndsQuietly) {
  const std::string photograph = makePicture("a.png");
  // The reader is gone before the program starts to write.
  const std::string command = "{ sleep 0.2; '" OZNA_PROGRAM "' detect '" + photograph + "' 2> '" +
                              at("err") + "'; echo $? > '" + at("status") + "'; } | true";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(readFile(at("err")), "");
  EXPECT_EQ(readFile(at("status")), std::to_string(128 + SIGPIPE) + "\n");
}

TEST_F(Report, ReaderThatLeavesEndsARunOfManyWithWholeLines) {
  makePicture("in/0.png", 8, 8);
  for (int i = 1; i < 300; ++i) {
    std::filesystem::copy_file(at("in/0.png"), at("in/" + std::to_string(i) + ".png"));
  }
  const std::string command = "{ '" OZNA_PROGRAM "' detect --json -j 2 -r '" + at("in") + "' 2> '" +
                              at("err") + "'; echo $? > '" + at("status") + "'; } | head -n 2 > '" +
                              at("out") + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(readFile(at("err")), "");
  EXPECT_EQ(readFile(at("status")), std::to_string(128 + SIGPIPE) + "\n");
  const std::vector<std::string> lines = linesOf(readFile(at("out")));
  ASSERT_EQ(lines.size(), 2U);
  for (const std::string& line : lines) EXPECT_TRUE(parsed(line).is_object());
}

TEST_F(Report, ClosedStandardStreamsHarmNoFile) {
  const std::string photograph = makePicture("a.png");
  const std::string before = readFile(photograph);
  const std::string command = "'" OZNA_PROGRAM "' detect '" + photograph + "' <&- >&- 2>&-";
  const int status = std::system(command.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 4);
  EXPECT_EQ(readFile(photograph), before);
}

}  // namespace
}  // namespace ozna_test
