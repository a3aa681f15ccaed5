// The lines of JSON.

#include <charconv>
#include <cstddef>
#include <cstring>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

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

class JsonReport : public ProgramTest {};

TEST_F(JsonReport, KeysStandInTheirOrder) {
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

TEST_F(JsonReport, NumbersAreShortestThatGiveBackTheFloat) {
  const Outcome run = runOzna({"detect", "--json", OZNA_SOURCE_DIR "/samples/astronaut.png"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::string score = numberText(run.out, "score");
  const float value = std::strtof(score.c_str(), nullptr);
  EXPECT_GT(value, 0.9F);
  EXPECT_LE(value, 1.0F);
  // "1.0" may stand for "1".
  EXPECT_LE(score.size(), std::max<std::size_t>(3, shortest(value).size()));
}

TEST_F(JsonReport, GivesBackRectanglesBitForBit) {
  const std::string box = "0.1,0.30000001,17.123457,19.999998";
  const Outcome run = runOzna(
      {"align", "--json", "--models", makeLandmarkModels(), "--box", box, makePicture("a.png")});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(numberText(run.out, "left"), "0.1");
  EXPECT_EQ(numberText(run.out, "top"), "0.3");  // The same float as 0.30000001.
  EXPECT_EQ(numberText(run.out, "right"), "17.123457");
  EXPECT_EQ(numberText(run.out, "bottom"), "19.999998");
}

TEST_F(JsonReport, PathThatIsNoUtf8IsReplacedInJson) {
  const std::string path = at("a\xFF.png");
  std::filesystem::copy_file(makePicture("a.png"), path);
  const Outcome run = runOzna({"detect", "--json", path});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(parsed(run.out)["path"], at("a\xEF\xBF\xBD.png"));
}

}  // namespace
}  // namespace ozna_test
