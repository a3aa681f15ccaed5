// Faces that lie, and what is reported of a face beside its box.

#include <cstddef>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

const std::string kAstronaut = OZNA_SOURCE_DIR "/samples/astronaut.png";

class Details : public ProgramTest {
 protected:
  static nlohmann::ordered_json face(const std::vector<std::string>& words) {
    const Outcome run = runOzna(words);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    const nlohmann::ordered_json faces = parsed(run.out)["faces"];
    EXPECT_EQ(faces.size(), 1U);
    return faces.empty() ? nlohmann::ordered_json() : faces[0];
  }

  // The sample turned by a quarter, counterclockwise, so that a clockwise turn brings it upright.
  std::string lying() const {
    cv::Mat picture = cv::imread(kAstronaut);
    cv::rotate(picture, picture, cv::ROTATE_90_COUNTERCLOCKWISE);
    const std::string path = at("lying.png");
    writeFile(path, encoded(".png", picture));
    return path;
  }
};

TEST_F(Details, AreReportedOfEachFaceWhereTheyAreAskedFor) {
  const nlohmann::ordered_json reported = face({"detect", "--json", "--details", kAstronaut});
  EXPECT_GT(reported["quality"].get<float>(), 0.5F);
  EXPECT_LE(reported["quality"].get<float>(), 1);
  for (const char* angle : {"roll", "yaw", "pitch"}) {
    EXPECT_LT(std::abs(reported[angle].get<float>()), 45) << angle;
  }
  for (const char* eye : {"left_eye", "right_eye"}) {
    EXPECT_GT(reported[eye].get<float>(), 0.1F) << eye;
    EXPECT_LT(reported[eye].get<float>(), 0.8F) << eye;
  }
  EXPECT_GT(reported["sharpness"].get<float>(), 0);
  EXPECT_FALSE(reported.contains("points"));
  EXPECT_FALSE(reported.contains("turn"));
  // The same beside points, and in the other forms.
  const nlohmann::ordered_json aligned =
      face({"align", "--json", "--points", "5", "--details", kAstronaut});
  EXPECT_EQ(aligned["roll"], reported["roll"]);
  EXPECT_EQ(aligned["points"].size(), 5U);
  const Outcome text = runOzna({"detect", "--details", kAstronaut});
  EXPECT_NE(text.out.find("quality "), std::string::npos) << text.out;
  EXPECT_FALSE(face({"detect", "--json", kAstronaut}).contains("quality"));
}

TEST_F(Details, StandInCsvBehindThePoints) {
  const std::string none = makePicture("none.png");
  const Outcome run = runOzna({"align", "--points", "5", "--format", "csv", "--details", "--turns",
                               "4", kAstronaut, none, at("missing.png")});
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 4U);
  const std::string last = ",x4,y4,turn,quality,roll,yaw,pitch,left_eye,right_eye,sharpness";
  EXPECT_EQ(lines[0].substr(lines[0].size() - last.size()), last);
  const auto columns = [](const std::string& line) {
    return std::count(line.begin(), line.end(), ',');
  };
  for (const std::string& line : lines) EXPECT_EQ(columns(line), columns(lines[0])) << line;
  const nlohmann::ordered_json reported = face({"detect", "--json", "--details", kAstronaut});
  EXPECT_NE(lines[1].find("," + reported["roll"].dump() + ","), std::string::npos) << lines[1];
}

TEST_F(Details, FacesThatLieAreFoundByQuarterTurns) {
  const std::string photograph = lying();
  EXPECT_EQ(parsed(runOzna({"detect", "--json", photograph}).out)["faces"].size(), 0U);
  const nlohmann::ordered_json upright = face({"align", "--json", kAstronaut});
  const nlohmann::ordered_json found =
      face({"align", "--json", "--details", "--turns", "4", photograph});
  EXPECT_EQ(found["turn"], 1);
  EXPECT_NEAR(found["roll"].get<float>(), -90, 15);
  // (x, y) of the upright photograph of 512 pixels lies at (y, 511 - x).
  EXPECT_NEAR(found["left"].get<float>(), upright["top"].get<float>(), 3);
  EXPECT_NEAR(found["bottom"].get<float>(), 512 - upright["left"].get<float>(), 3);
  for (const std::size_t i : {8, 30, 57}) {
    EXPECT_NEAR(found["points"][i][0].get<float>(), upright["points"][i][1].get<float>(), 4) << i;
    EXPECT_NEAR(found["points"][i][1].get<float>(), 511 - upright["points"][i][0].get<float>(), 4)
        << i;
  }
  EXPECT_EQ(face({"detect", "--json", "--turns", "4", kAstronaut})["turn"], 0);
  expectFailure(runOzna({"detect", "--turns", "2", photograph}), 2, "--turns takes 1 or 4");
}

TEST_F(Details, OfAGivenBoxNeedNoSearch) {
  const nlohmann::ordered_json found = face({"detect", "--json", kAstronaut});
  std::string box;
  for (const char* edge : {"left", "top", "right", "bottom"}) {
    box += (box.empty() ? "" : ",") + found[edge].dump();
  }
  const nlohmann::ordered_json reported =
      face({"align", "--json", "--details", "--box", box, kAstronaut});
  EXPECT_EQ(reported["roll"], face({"detect", "--json", "--details", kAstronaut})["roll"]);
}

}  // namespace
}  // namespace ozna_test
