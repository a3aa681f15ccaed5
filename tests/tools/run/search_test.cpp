// Presets, smallest face, margin and choice, by the faces that the program finds.

#include <algorithm>
#include <cstddef>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

const std::string kGroup = OZNA_SOURCE_DIR "/samples/group.jpg";
const std::string kAstronaut = OZNA_SOURCE_DIR "/samples/astronaut.png";

class Search : public ProgramTest {
 protected:
  static nlohmann::ordered_json faces(const std::vector<std::string>& options,
                                      const std::string& photograph) {
    std::vector<std::string> arguments = {"detect", "--json"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    arguments.push_back(photograph);
    const Outcome run = runOzna(arguments);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    return parsed(run.out)["faces"];
  }

  // A large photograph with the group, whose faces have 64 to 157 pixels, in two of its corners.
  std::string crowd() const {
    cv::Mat picture(3000, 4000, CV_8UC3, cv::Scalar(110, 120, 130));
    const cv::Mat group = cv::imread(kGroup);
    group.copyTo(picture(cv::Rect(0, 0, 1280, 700)));
    group.copyTo(picture(cv::Rect(4000 - 1280, 3000 - 700, 1280, 700)));
    const std::string path = at("crowd.jpg");
    writeFile(path, encoded(".jpg", picture));
    return path;
  }
};

double width(const nlohmann::ordered_json& face) {
  return face["right"].get<double>() - face["left"].get<double>();
}

bool holds(const nlohmann::ordered_json& face, double x, double y) {
  return face["left"] < x && face["right"] > x && face["top"] < y && face["bottom"] > y;
}

TEST_F(Search, SmallFacesOfALargePhotographAreFoundByTilesAndOnce) {
  const std::string photograph = crowd();
  const nlohmann::ordered_json group = faces({}, kGroup);
  ASSERT_EQ(group.size(), 9U);
  // A scan of the whole is made for faces from 5 percent of 4000 pixels on: those of half that size
  // are out of its reach.
  const nlohmann::ordered_json at_once = faces({}, photograph);
  EXPECT_LT(at_once.size(), 2 * group.size());
  for (const auto& face : group) {
    if (width(face) > 100) continue;
    const double x = (face["left"].get<double>() + face["right"].get<double>()) / 2;
    const double y = (face["top"].get<double>() + face["bottom"].get<double>()) / 2;
    for (const auto& seen : at_once) EXPECT_FALSE(holds(seen, x, y)) << x << ", " << y;
  }
  const nlohmann::ordered_json found = faces({"--min-face", "60"}, photograph);
  for (const auto& face : group) {
    const double x = (face["left"].get<double>() + face["right"].get<double>()) / 2;
    const double y = (face["top"].get<double>() + face["bottom"].get<double>()) / 2;
    for (const auto& [dx, dy] : std::vector<std::pair<int, int>>{{0, 0}, {2720, 2300}}) {
      const auto count =
          std::count_if(found.begin(), found.end(),
                        [&, dx = dx, dy = dy](const auto& f) { return holds(f, x + dx, y + dy); });
      EXPECT_LE(count, 1);
      EXPECT_EQ(count, 1) << x + dx << ", " << y + dy;
    }
  }
  for (std::size_t i = 1; i < found.size(); ++i) {
    EXPECT_GE(found[i - 1]["score"], found[i]["score"]);
  }
}

TEST_F(Search, SmallestFaceInPixelsIsThatOfThePhotograph) {
  // 64 pixels are 5 percent of 1280, which is the default.
  EXPECT_EQ(faces({"--min-face", "64"}, kGroup), faces({}, kGroup));
  EXPECT_EQ(faces({"--min-face", "5%"}, kGroup), faces({}, kGroup));
  // Both calibrations may shrink a smallest scanned window to 1 / 1.3 of its side. Without the
  // option, boxes of 64 are found.
  const nlohmann::ordered_json large = faces({"--min-face", "160"}, kGroup);
  EXPECT_GT(large.size(), 0U);
  for (const auto& face : large) EXPECT_GT(width(face), 160 / (1.3 * 1.3) - 2);
}

TEST_F(Search, PresetsAreAccepted) {
  EXPECT_EQ(faces({"--preset", "balanced"}, kGroup), faces({}, kGroup));
  EXPECT_LT(faces({"--preset", "fast"}, kGroup).size(), 9U);
  EXPECT_GE(faces({"--preset", "thorough"}, kGroup).size(), 9U);
}

TEST_F(Search, MarginFindsAFaceThatFillsThePhotographAndIsTakenOffAgain) {
  // The face of the astronaut without its surroundings: her nose is at 220,120.
  const cv::Rect cut(180, 78, 80, 80);
  const std::string path = at("filled.png");
  writeFile(path, encoded(".png", cv::imread(kAstronaut)(cut)));
  EXPECT_EQ(faces({}, path).size(), 0U);
  const nlohmann::ordered_json found = faces({"--margin", "30"}, path);
  ASSERT_EQ(found.size(), 1U);
  EXPECT_TRUE(holds(found[0], 220 - cut.x, 120 - cut.y));
  EXPECT_GT(width(found[0]), 70);
}

TEST_F(Search, MarginMovesNeitherBoxesNorLandmarks) {
  const Outcome plain = runOzna({"align", "--json", "--points", "5", kAstronaut});
  const Outcome with_margin =
      runOzna({"align", "--json", "--points", "5", "--margin", "20%", kAstronaut});
  ASSERT_EQ(with_margin.exit_code, 0) << with_margin.err;
  const nlohmann::ordered_json line = parsed(with_margin.out);
  EXPECT_EQ(line["width"], 512);
  ASSERT_EQ(line["faces"].size(), 1U);
  const nlohmann::ordered_json expected = parsed(plain.out)["faces"][0];
  EXPECT_NEAR(line["faces"][0]["left"].get<double>(), expected["left"].get<double>(), 15);
  for (std::size_t i = 0; i < 5; ++i) {
    for (std::size_t c = 0; c < 2; ++c) {
      EXPECT_NEAR(line["faces"][0]["points"][i][c].get<double>(),
                  expected["points"][i][c].get<double>(), 4);
    }
  }
}

TEST_F(Search, BiggestAndBestLeaveOneFace) {
  const nlohmann::ordered_json all = faces({}, kGroup);
  const nlohmann::ordered_json biggest = faces({"--biggest"}, kGroup);
  ASSERT_EQ(biggest.size(), 1U);
  for (const auto& face : all) EXPECT_LE(width(face), width(biggest[0]));
  const nlohmann::ordered_json best = faces({"--best"}, kGroup);
  ASSERT_EQ(best.size(), 1U);
  EXPECT_EQ(best[0], all[0]);
  EXPECT_NE(best[0], biggest[0]);
  EXPECT_EQ(runOzna({"detect", "--best", "--biggest", kGroup}).exit_code, 2);
}

TEST_F(Search, SaysTheSameInOneWayOnly) {
  expectFailure(runOzna({"detect", "--min-face", "40", "--max-image-side", "900", kGroup}), 2,
                "--min-face excludes --max-image-side");
  expectFailure(runOzna({"detect", "--preset", "thorough", "--window-size", "12", kGroup}), 2,
                "--window-size cannot be combined with --preset thorough");
  EXPECT_EQ(runOzna({"detect", "--preset", "fast", "--pyramid-factor", "1.3", kGroup}).exit_code,
            0);
}

TEST_F(Search, TellsWhatWouldBeAccepted) {
  expectFailure(runOzna({"detect", "--min-face", "3", kGroup}), 2,
                "--min-face takes 8 to 100000 pixels");
  expectFailure(runOzna({"detect", "--preset", "thourough", kGroup}), 2,
                "--preset takes fast, balanced or thorough, not thourough; did you mean thorough?");
  expectFailure(runOzna({"detect", "--margin", "101", kGroup}), 2,
                "--margin takes 0 to 100 percent");
}

}  // namespace
}  // namespace ozna_test
