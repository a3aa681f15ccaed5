// Orientations of stored photographs, of all formats that have one.

#include "tools/photograph/orientation.h"

#include <cstddef>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/tools/pictures.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

// 96 by 64 pixels, red in the left top corner, green in the right top one, blue in the left bottom
// one.
cv::Mat threeCorners() {
  cv::Mat picture(64, 96, CV_8UC3, cv::Scalar(255, 255, 255));
  cv::rectangle(picture, cv::Rect(0, 0, 32, 24), cv::Scalar(0, 0, 255), cv::FILLED);
  cv::rectangle(picture, cv::Rect(64, 0, 32, 24), cv::Scalar(0, 255, 0), cv::FILLED);
  cv::rectangle(picture, cv::Rect(0, 40, 32, 24), cv::Scalar(255, 0, 0), cv::FILLED);
  return picture;
}

TEST(TurnUpright, UndoesWhatTheCameraDid) {
  const cv::Mat upright = threeCorners();
  for (int orientation = 1; orientation <= 8; ++orientation) {
    SCOPED_TRACE(orientation);
    cv::Mat pixels = asStored(upright, orientation);
    oznatool::turnUpright(pixels, orientation);
    ASSERT_EQ(pixels.size(), upright.size());
    EXPECT_EQ(cv::norm(pixels, upright, cv::NORM_INF), 0);
  }
}

TEST(InStoredFrame, FindsTheRectangleThatTheStoredPixelsHold) {
  // A white picture of 96 by 64 with one black rectangle, found again in what a camera stores.
  const oznakit::Box rect = {10, 20, 40, 30};
  cv::Mat upright(64, 96, CV_8UC3, cv::Scalar(255, 255, 255));
  cv::rectangle(upright, cv::Rect(10, 20, 30, 10), cv::Scalar(0, 0, 0), cv::FILLED);
  for (int orientation = 1; orientation <= 8; ++orientation) {
    SCOPED_TRACE(orientation);
    cv::Mat black;
    cv::inRange(asStored(upright, orientation), cv::Scalar(0, 0, 0), cv::Scalar(0, 0, 0), black);
    const cv::Rect expected = cv::boundingRect(black);
    const auto stored = oznatool::inStoredFrame(rect, cv::Size2f(96, 64), orientation);
    EXPECT_EQ(stored.left, expected.x);
    EXPECT_EQ(stored.top, expected.y);
    EXPECT_EQ(stored.right, expected.x + expected.width);
    EXPECT_EQ(stored.bottom, expected.y + expected.height);
  }
}

class Orientations : public ProgramTest {};

TEST_F(Orientations, AreAppliedAndReportedInEveryFormat) {
  const cv::Mat upright = threeCorners();
  std::vector<std::string> arguments = {"annotate", "--points", "0", "--json", "-o", at("seen")};
  for (const std::string ending : {".jpg", ".png", ".tiff", ".webp"}) {
    for (int orientation = 1; orientation <= 8; ++orientation) {
      arguments.push_back(at(std::to_string(orientation) + ending.substr(1) + ending));
      writeFile(arguments.back(),
                encodedWithOrientation(ending, asStored(upright, orientation), orientation));
    }
  }
  const Outcome run = runOzna(arguments);
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 32U);
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const nlohmann::ordered_json line = parsed(lines[i]);
    SCOPED_TRACE(line["path"].get<std::string>());
    EXPECT_EQ(line["orientation"], static_cast<int>(i % 8 + 1));
    EXPECT_EQ(line["width"], 96);
    EXPECT_EQ(line["height"], 64);
    const std::string name = std::filesystem::path(arguments[i + 6]).filename().string();
    // What the program wrote is upright and carries no orientation.
    const cv::Mat seen = cv::imread(at("seen/" + name), cv::IMREAD_COLOR);
    ASSERT_EQ(seen.size(), upright.size());
    // Lossy formats blur colours; the corners' middles stay near.
    for (const cv::Point& point : {cv::Point(16, 12), {80, 12}, {16, 52}, {80, 52}}) {
      for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(seen.at<cv::Vec3b>(point)[c], upright.at<cv::Vec3b>(point)[c], 40) << point;
      }
    }
  }
}

TEST_F(Orientations, OutOfRangeCountAsUpright) {
  const std::string path = at("odd.jpg");
  writeFile(path, encodedWithOrientation(".jpg", threeCorners(), 9));
  const Outcome run = runOzna({"detect", "--json", path});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(parsed(run.out)["orientation"], 1);
  EXPECT_EQ(parsed(run.out)["width"], 96);
}

TEST_F(Orientations, FacesAreTheSameForEveryWayToHoldTheCamera) {
  const cv::Mat upright = cv::imread(OZNA_SOURCE_DIR "/samples/astronaut.png");
  std::vector<std::string> arguments = {"detect", "--json"};
  for (int orientation = 1; orientation <= 8; ++orientation) {
    arguments.push_back(at(std::to_string(orientation) + ".png"));
    writeFile(arguments.back(),
              encodedWithOrientation(".png", asStored(upright, orientation), orientation));
  }
  const Outcome run = runOzna(arguments);
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 8U);
  const nlohmann::ordered_json faces = parsed(lines[0])["faces"];
  ASSERT_EQ(faces.size(), 1U);
  for (const std::string& line : lines) EXPECT_EQ(parsed(line)["faces"], faces);
}

}  // namespace
}  // namespace ozna_test
