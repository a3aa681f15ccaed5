// ozna align.

#include <cstddef>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Align : public ProgramTest {
 protected:
  // In a photograph of 250 by 250 pixels no window is cut and nothing resized. The box
  // 50,50,250,250 becomes the face box x 50 - 0.05 * 200 = 40, y 50 + 0.15 * 200 = 80, width 240,
  // height 260, which is scaled by 100 / 240 and cut to x 16, y 33, width 100, height 108; a model
  // without stages places the mean shape in it.
  static float expectedX(float mean_x) { return (100.0F * mean_x + 16.0F) * 2.4F; }
  static float expectedY(float mean_y) { return (108.0F * mean_y + 33.0F) * 2.4F; }

  Outcome alignBox(const std::vector<std::string>& more) const {
    std::vector<std::string> arguments = {"align", "--models",      makeLandmarkModels(),
                                          "--box", "50,50,250,250", makePicture("a.png", 250, 250)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return runOzna(arguments);
  }
};

constexpr float kTolerancePx = 0.01F;

TEST_F(Align, PlacesSixtyEightPointsInGivenBox) {
  const Outcome run = alignBox({"--json"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json faces = parsed(run.out)["faces"];
  ASSERT_EQ(faces.size(), 1U);
  EXPECT_EQ(faces[0]["left"], 50);
  EXPECT_EQ(faces[0]["bottom"], 250);
  EXPECT_FALSE(faces[0].contains("score"));
  const nlohmann::ordered_json& points = faces[0]["points"];
  ASSERT_EQ(points.size(), 68U);
  const std::vector<float> mean = spreadShape();
  for (std::size_t i = 0; i < 68; ++i) {
    ASSERT_EQ(points[i].size(), 2U);
    EXPECT_NEAR(points[i][0].get<float>(), expectedX(mean[2 * i]), kTolerancePx) << i;
    EXPECT_NEAR(points[i][1].get<float>(), expectedY(mean[2 * i + 1]), kTolerancePx) << i;
  }
}

TEST_F(Align, PlacesFivePoints) {
  const Outcome run = alignBox({"--json", "--points", "5"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json points = parsed(run.out)["faces"][0]["points"];
  ASSERT_EQ(points.size(), 5U);
  // The eyes are the means of landmarks 36 to 41 and 42 to 47; nose and corners of the mouth are
  // 30, 48 and 54.
  const float landmarks[5] = {38.5F, 44.5F, 30.0F, 48.0F, 54.0F};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_NEAR(points[i][0].get<float>(), expectedX(landmarks[i] / 100.0F), kTolerancePx) << i;
    EXPECT_NEAR(points[i][1].get<float>(), expectedY(0.9F - landmarks[i] / 90.0F), kTolerancePx)
        << i;
  }
}

TEST_F(Align, TableHasOneRowAPoint) {
  const Outcome run = alignBox({"--points", "68"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 3U + 68U);
  EXPECT_NE(lines[0].find("250 x 250  1 face"), std::string::npos);
  // The first point: (0 + 16) * 2.4 and (108 * 0.9 + 33) * 2.4.
  EXPECT_NE(lines[3].find("38.40"), std::string::npos) << lines[3];
  EXPECT_NE(lines[3].find("312.48"), std::string::npos) << lines[3];
  EXPECT_EQ(linesOf(alignBox({"--points", "5"}).out).size(), 3U + 5U);
}

TEST_F(Align, DetectsFacesAndPlacesPointsInEach) {
  const std::string models = copyModels();
  writeFile(models + "/models/face68.sdm", landmarkFile(spreadShape()));
  const std::string photograph = OZNA_SOURCE_DIR "/samples/astronaut.png";
  const Outcome found = runOzna({"detect", "--json", "--models", models, photograph});
  const Outcome run = runOzna({"align", "--json", "--models", models, photograph});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json faces = parsed(run.out)["faces"];
  const nlohmann::ordered_json expected = parsed(found.out)["faces"];
  ASSERT_GE(faces.size(), 1U);
  ASSERT_EQ(faces.size(), expected.size());
  for (std::size_t i = 0; i < faces.size(); ++i) {
    nlohmann::ordered_json face = faces[i];
    EXPECT_EQ(face["points"].size(), 68U);
    face.erase("points");
    EXPECT_EQ(face, expected[i]);
  }
}

TEST_F(Align, TakesBoxesThatReachOverTheEdge) {
  const Outcome run = runOzna({"align", "--json", "--models", makeLandmarkModels(), "--box",
                               "-5,-5.5,30,30", makePicture("a.png", 100, 100)});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(parsed(run.out)["faces"][0]["top"], -5.5);
}

TEST_F(Align, TellsPhotographThatBoxMisses) {
  const std::string small = makePicture("small.png", 20, 20);
  const std::string large = makePicture("large.png", 100, 100);
  const Outcome run = runOzna(
      {"align", "--json", "--models", makeLandmarkModels(), "--box", "40,40,90,90", small, large});
  expectFailure(run, 1, small + ": the box lies outside the photograph of 20 x 20 pixels");
  ASSERT_EQ(linesOf(run.out).size(), 2U);
  EXPECT_EQ(parsed(linesOf(run.out)[0])["error"]["kind"], "search");
  EXPECT_EQ(parsed(linesOf(run.out)[1])["path"], large);
}

TEST_F(Align, SurvivesBoxesOfAnySize) {
  const std::string photograph = makePicture("a.png", 100, 100);
  const std::string models = makeLandmarkModels();
  for (const char* box :
       {"0,0,1,1", "0,0,1,100", "99,99,100,100", "0,0,100,1", "-1000000,-1000000,1000000,1000000",
        "-1000000,40,1000000,42", "50,-90000,51.5,99", "0.5,0.5,1.6,1.6"}) {
    SCOPED_TRACE(box);
    const Outcome run = runOzna({"align", "--json", "--models", models, "--box", box, photograph});
    EXPECT_EQ(run.signal, 0);
    EXPECT_TRUE(run.exit_code == 0 || run.exit_code == 1) << run.exit_code;
    EXPECT_EQ(linesOf(run.out).size(), 1U);
    EXPECT_EQ(parsed(run.out).contains("error"), run.exit_code == 1);
    expectMessagesNameProgram(run);
  }
}

}  // namespace
}  // namespace ozna_test
