// Annotated photographs: what is drawn, and where it is written.

#include <cmath>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class Annotate : public ProgramTest {
 protected:
  // Aligns a box from 20,30 to 60,80 in each photograph.
  Outcome annotate(const std::string& target, const std::vector<std::string>& photographs) const {
    std::vector<std::string> arguments = {
        "align", "--models", makeLandmarkModels(), "--box", "20,30,60,80", "--annotate", target};
    arguments.insert(arguments.end(), photographs.begin(), photographs.end());
    return runOzna(arguments);
  }
};

bool differ(const cv::Mat& a, const cv::Mat& b, int x, int y) {
  return a.at<cv::Vec3b>(y, x) != b.at<cv::Vec3b>(y, x);
}

TEST_F(Annotate, ChangesPixelsOfDetectedBoxesAndOfTheLabelsAboveThemOnly) {
  const std::string photograph = OZNA_SOURCE_DIR "/samples/astronaut.png";
  const Outcome run = runOzna({"detect", "--json", "--annotate", at("out.png"), photograph});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const cv::Mat before = cv::imread(photograph);
  const cv::Mat after = cv::imread(at("out.png"));
  ASSERT_EQ(before.size(), after.size());
  cv::Mat inside(before.size(), CV_8UC1, cv::Scalar(0));
  const nlohmann::ordered_json line = parsed(run.out);
  for (const auto& face : line["faces"]) {
    const int left = face["left"].get<int>();
    const int top = face["top"].get<int>();
    const int right = face["right"].get<int>();
    const int bottom = face["bottom"].get<int>();
    const cv::Rect box =
        cv::Rect(left, top, right - left, bottom - top) & cv::Rect({}, before.size());
    inside(box).setTo(1);
    // The label: at most a quarter of the face high, and no wider than three quarters of it.
    const int height = (bottom - top) / 4;
    ASSERT_GT(top, height);
    inside(cv::Rect(left, top - height, 3 * (right - left) / 4, height)).setTo(1);
    EXPECT_TRUE(differ(before, after, left + 2, top - 2));
    // All four edges are drawn, and the middle of the face is not.
    EXPECT_TRUE(differ(before, after, left, (top + bottom) / 2));
    EXPECT_TRUE(differ(before, after, right - 1, (top + bottom) / 2));
    EXPECT_TRUE(differ(before, after, (left + right) / 2, top));
    EXPECT_TRUE(differ(before, after, (left + right) / 2, bottom - 1));
    EXPECT_FALSE(differ(before, after, (left + right) / 2, (top + bottom) / 2));
  }
  ASSERT_GT(cv::countNonZero(inside), 0);
  for (int y = 0; y < before.rows; ++y) {
    for (int x = 0; x < before.cols; ++x) {
      if (inside.at<uchar>(y, x) != 0) continue;
      ASSERT_FALSE(differ(before, after, x, y)) << x << ", " << y;
    }
  }
}

TEST_F(Annotate, DrawsLandmarksWhereTheDataSaysTheyAre) {
  const std::string photograph = makePicture("a.png", 100, 100);
  const Outcome run = runOzna({"align", "--json", "--models", makeLandmarkModels(), "--box",
                               "20,30,60,80", "--annotate", at("out.png"), photograph});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const cv::Mat before = cv::imread(photograph);
  const cv::Mat after = cv::imread(at("out.png"));
  int drawn = 0;
  const nlohmann::ordered_json line = parsed(run.out);
  for (const auto& point : line["faces"][0]["points"]) {
    const int x = static_cast<int>(std::lround(point[0].get<float>()));
    const int y = static_cast<int>(std::lround(point[1].get<float>()));
    if (x < 0 || x >= 100 || y < 0 || y >= 100) continue;
    EXPECT_TRUE(differ(before, after, x, y)) << x << ", " << y;
    ++drawn;
  }
  EXPECT_GT(drawn, 34);
}

TEST_F(Annotate, LandmarksOfASmallFaceLeaveMostOfItToBeSeen) {
  const std::string photograph = makePicture("a.png", 100, 100);
  for (const auto& [box, side] : {std::pair("30,30,66,66", 36), std::pair("5,5,95,95", 90)}) {
    ASSERT_EQ(runOzna({"align", "--models", makeLandmarkModels(), "--box", box, "--annotate",
                       at("out.png"), photograph})
                  .exit_code,
              0);
    const cv::Mat before = cv::imread(photograph);
    const cv::Mat after = cv::imread(at("out.png"));
    int drawn = 0;
    for (int y = 0; y < 100; ++y) {
      for (int x = 0; x < 100; ++x) drawn += differ(before, after, x, y) ? 1 : 0;
    }
    EXPECT_LT(drawn, side * side / 2) << box;
    EXPECT_GT(drawn, 68) << box;
  }
}

TEST_F(Annotate, WritesPhotographWithoutFacesUnchanged) {
  const std::string photograph = makePicture("a.png");
  ASSERT_EQ(runOzna({"detect", "--annotate", at("out.png"), photograph}).exit_code, 0);
  EXPECT_EQ(cv::norm(cv::imread(photograph), cv::imread(at("out.png")), cv::NORM_INF), 0);
}

TEST_F(Annotate, BoxesFarOutsideAreNoTrouble) {
  const Outcome run =
      runOzna({"align", "--models", makeLandmarkModels(), "--box", "-500,-400,900,800",
               "--annotate", at("out.png"), makePicture("a.png", 100, 100)});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(cv::imread(at("out.png")).size(), cv::Size(100, 100));
}

TEST_F(Annotate, ReplacesNamedFile) {
  writeFile(at("out.png"), "something old");
  const Outcome run = annotate(at("out.png"), {makePicture("a.png", 100, 100)});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(cv::imread(at("out.png")).size(), cv::Size(100, 100));
}

TEST_F(Annotate, RefusesToReplaceThePhotograph) {
  const std::string photograph = makePicture("a.png");
  const std::string bytes = readFile(photograph);
  fs::create_symlink(photograph, at("link.png"));
  for (const std::string& target : {photograph, at("./a.png"), at("link.png")}) {
    expectFailure(annotate(target, {photograph}), 2, "would overwrite the photograph");
  }
  EXPECT_EQ(readFile(photograph), bytes);
}

TEST_F(Annotate, SeveralPhotographsGoIntoADirectoryThatIsMade) {
  const Outcome run =
      annotate(at("new/deep"), {makePicture("a.png", 100, 90), makePicture("b.jpg", 100, 80)});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(cv::imread(at("new/deep/a.png")).rows, 90);
  EXPECT_EQ(cv::imread(at("new/deep/b.jpg")).rows, 80);
}

TEST_F(Annotate, EqualNamesDoNotCollide) {
  const Outcome run =
      annotate(at("out"), {makePicture("x/a.png", 100, 90), makePicture("y/a.png", 100, 80),
                           makePicture("z/a.png", 100, 70)});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(cv::imread(at("out/a.png")).rows, 90);
  EXPECT_EQ(cv::imread(at("out/a-2.png")).rows, 80);
  EXPECT_EQ(cv::imread(at("out/a-3.png")).rows, 70);
}

TEST_F(Annotate, DirectoryOfThePhotographsThemselvesIsSafe) {
  const std::string first = makePicture("a.png", 100, 90);
  const std::string second = makePicture("b.png", 100, 80);
  const std::string bytes = readFile(first);
  EXPECT_EQ(annotate(directory_.string(), {first, second}).exit_code, 0);
  EXPECT_EQ(readFile(first), bytes);
  EXPECT_EQ(cv::imread(at("a-2.png")).rows, 90);
  EXPECT_EQ(cv::imread(at("b-2.png")).rows, 80);
}

TEST_F(Annotate, OnePhotographMayGoIntoADirectoryToo) {
  fs::create_directory(at("there"));
  const std::string photograph = makePicture("a.png", 100, 90);
  EXPECT_EQ(annotate(at("there"), {photograph}).exit_code, 0);
  EXPECT_EQ(annotate(at("made/"), {photograph}).exit_code, 0);
  EXPECT_TRUE(fs::is_regular_file(at("there/a.png")));
  EXPECT_TRUE(fs::is_regular_file(at("made/a.png")));
}

TEST_F(Annotate, NameWithoutWritableFormatGetsOne) {
  const std::string photograph = at("photograph");
  fs::copy_file(makePicture("a.png", 100, 90), photograph);
  EXPECT_EQ(annotate(at("out/"), {photograph}).exit_code, 0);
  EXPECT_EQ(cv::imread(at("out/photograph.png")).rows, 90);
}

TEST_F(Annotate, TargetThatCannotBeWrittenIsReportedWithItsOwnStatus) {
  const std::string photograph = makePicture("a.png", 100, 90);
  writeFile(at("file"), "no directory");
  const std::vector<std::pair<std::string, std::vector<std::string>>> wrong = {
      {at("nowhere/out.png"), {photograph}},
      {at("out.unknown"), {photograph}},
      {at("out"), {photograph}},
      {at("file/out.png"), {photograph}},
      {at("file"), {photograph, photograph}},
      {"/proc/out/", {photograph}},
  };
  for (const auto& [target, photographs] : wrong) {
    SCOPED_TRACE(target);
    expectFailure(annotate(target, photographs), 4, target);
  }
  EXPECT_EQ(readFile(at("file")), "no directory");
}

TEST_F(Annotate, DeviceIsReportedAndTheDataStillPrinted) {
  fs::create_symlink("/dev/full", at("full.png"));
  const Outcome run = annotate(at("full.png"), {makePicture("a.png", 100, 90)});
  expectFailure(run, 4, "full.png: is not a regular file");
  EXPECT_NE(run.out, "");
}

TEST_F(Annotate, ImageTooLargeForItsFormatIsReported) {
  // A JPEG file has at most 65535 columns.
  const Outcome run = annotate(at("out.jpg"), {makePicture("wide.png", 66000, 90)});
  expectFailure(run, 4, "cannot be written as .jpg");
  EXPECT_FALSE(fs::exists(at("out.jpg")));
}

}  // namespace
}  // namespace ozna_test
