// Every command on photographs of every odd kind, good and bad ones between each other.

#include <algorithm>
#include <array>
#include <cstddef>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/pictures.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class OddPhotographs : public ProgramTest {
 protected:
  struct Odd {
    std::string path;
    int width, height;  // 0 where it cannot be looked at.
    int faces = 0;
    std::string error;  // The kind.
  };

  // Good and bad in turn, so that a bad one that harmed the run would harm a good one.
  std::vector<Odd> make() const {
    const cv::Mat face = cv::imread(OZNA_SOURCE_DIR "/samples/astronaut.png");
    cv::Mat grey;
    cv::extractChannel(face, grey, 1);
    const cv::Mat opaque(face.size(), CV_8UC1, cv::Scalar(255));
    const std::array<cv::Mat, 2> planes = {face, opaque};
    cv::Mat with_alpha;
    cv::merge(planes.data(), planes.size(), with_alpha);
    cv::Mat deep;
    face.convertTo(deep, CV_16U, 257);
    writeFile(at("grey.jpg"), encoded(".jpg", grey));
    writeFile(at("alpha.png"), encoded(".png", with_alpha));
    writeFile(at("deep.png"), encoded(".png", deep));
    writeFile(at("deep.tiff"), encoded(".tiff", deep));
    writeFile(at("turned.webp"), encodedWithOrientation(".webp", asStored(face, 6), 6));
    writeFile(at("face.heic"), encodedHeic(face));
    const std::string jpeg = encoded(".jpg", face);
    writeFile(at("cut.jpg"), jpeg.substr(0, jpeg.size() / 2));
    writeFile(at("empty.png"), "");
    writeFile(at("text.jpg"), "no photograph\n");
    std::filesystem::create_directory(at("folder.jpg"));
    return {{at("grey.jpg"), 512, 512, 1, ""},
            {at("cut.jpg"), 512, 512, 1, ""},  // What is there holds the face.
            {at("alpha.png"), 512, 512, 1, ""},
            {at("empty.png"), 0, 0, 0, "format"},
            {at("deep.png"), 512, 512, 1, ""},
            {at("folder.jpg"), 0, 0, 0, "read"},
            {at("deep.tiff"), 512, 512, 1, ""},
            {at("missing.jpg"), 0, 0, 0, "read"},
            {at("turned.webp"), 512, 512, 1, ""},
            {at("text.jpg"), 0, 0, 0, "format"},
            {makePicture("dot.png", 1, 1), 1, 1, 0, ""},
            {makePicture("strip.png", 20000, 2), 20000, 2, 0, ""},
            {makePicture("column.png", 2, 20000), 2, 20000, 0, ""},
            {at("face.heic"), 512, 512, 1, ""}};
  }
};

TEST_F(OddPhotographs, HaveOneRecordEachInEveryCommandAndSearch) {
  const std::vector<Odd> odd = make();
  const std::vector<std::vector<std::string>> commands = {
      {"detect"},
      {"detect", "--preset", "thorough"},
      {"align", "--points", "5", "--xmp", at("xmp")},
      {"annotate", "--margin", "5", "-o", at("annotated")},
      {"crop", "--size", "32", "-o", at("chips"), "-j", "3"},
  };
  for (const std::vector<std::string>& command : commands) {
    SCOPED_TRACE(testing::PrintToString(command));
    std::vector<std::string> arguments = command;
    arguments.push_back("--json");
    for (const Odd& photograph : odd) arguments.push_back(photograph.path);
    const Outcome run = runOzna(arguments);
    EXPECT_EQ(run.exit_code, 1) << run.err;
    expectMessagesNameProgram(run);
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), odd.size());
    for (std::size_t i = 0; i < odd.size(); ++i) {
      SCOPED_TRACE(odd[i].path);
      const nlohmann::ordered_json line = parsed(lines[i]);
      EXPECT_EQ(line["path"], odd[i].path);
      if (!odd[i].error.empty()) {
        EXPECT_EQ(line["error"]["kind"], odd[i].error);
        EXPECT_FALSE(line.contains("faces"));
        continue;
      }
      EXPECT_FALSE(line.contains("error")) << lines[i];
      EXPECT_EQ(line["width"], odd[i].width);
      EXPECT_EQ(line["height"], odd[i].height);
      if (odd[i].faces == 0) {
        EXPECT_EQ(line["faces"].size(), 0U);
        continue;
      }
      // The tip of the nose, read off the picture, lies in one of the faces.
      bool found = false;
      for (const auto& face : line["faces"]) {
        found = found || (face["left"] < 220 && face["right"] > 220 && face["top"] < 120 &&
                          face["bottom"] > 120);
      }
      EXPECT_TRUE(found) << lines[i];
    }
  }
}

TEST_F(OddPhotographs, GiveTheSameFormToRowsOfCsv) {
  std::vector<std::string> arguments = {"detect", "--format", "csv", "--best"};
  const std::vector<Odd> odd = make();
  for (const Odd& photograph : odd) arguments.push_back(photograph.path);
  const Outcome run = runOzna(arguments);
  const std::vector<std::string> lines = linesOf(run.out);
  // A heading, and one row each: one face at most.
  ASSERT_EQ(lines.size(), 1 + odd.size());
  const auto commas = std::count(lines[0].begin(), lines[0].end(), ',');
  for (std::size_t i = 0; i < odd.size(); ++i) {
    const std::string& row = lines[i + 1];
    EXPECT_EQ(std::count(row.begin(), row.end(), ','), commas) << row;
    EXPECT_EQ(row.rfind(odd[i].path + ",", 0), 0U) << row;
    EXPECT_NE(row.find("," + odd[i].error + ","), std::string::npos) << row;
  }
}

}  // namespace
}  // namespace ozna_test
