// JPEG photographs that are decoded at a part of their size: what, and that nobody notices.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/tools/pictures.h"
#include "tests/tools/program.h"
#include "tools/photograph/orientation.h"
#include "tools/photograph/photograph.h"

namespace ozna_test {
namespace {

TEST(ReducedPhotograph, TellsPlacesInTheWholeOneForEveryOrientation) {
  // 205 by 147 pixels as stored, white, with a black rectangle whose edges are those of squares of
  // 8.
  const cv::Size size(205, 147);
  const cv::Rect black(48, 32, 64, 40);
  cv::Mat stored(size, CV_8UC3, cv::Scalar(255, 255, 255));
  cv::rectangle(stored, black, cv::Scalar(0, 0, 0), cv::FILLED);
  for (int orientation = 1; orientation <= 8; ++orientation) {
    for (const int reduction : {1, 2, 4, 8}) {
      SCOPED_TRACE(std::to_string(orientation) + " / " + std::to_string(reduction));
      const std::string jpeg = encodedWithOrientation(".jpg", stored, orientation);
      const std::vector<unsigned char> bytes(jpeg.begin(), jpeg.end());
      const oznatool::PhotographHeader header = oznatool::readHeader(bytes.data(), bytes.size());
      const oznatool::Photograph photograph =
          oznatool::decodePhotograph("a.jpg", bytes, header, reduction);
      const bool turned = orientation >= 5;
      EXPECT_EQ(photograph.size, turned ? cv::Size(147, 205) : size);

      cv::Mat dark;
      cv::inRange(photograph.pixels, cv::Scalar(0, 0, 0), cv::Scalar(127, 127, 127), dark);
      const cv::Rect seen = cv::boundingRect(dark);
      const auto left = static_cast<float>(seen.x);
      const auto top = static_cast<float>(seen.y);
      oznatool::Face face = {
          {left, top, left + static_cast<float>(seen.width), top + static_cast<float>(seen.height)},
          1.0F,
          {left, top}};
      photograph.enlarge(face);
      const auto in_stored =
          oznatool::inStoredFrame(face.rect, cv::Size2f(photograph.size), orientation);
      EXPECT_EQ(in_stored.left, 48);
      EXPECT_EQ(in_stored.top, 32);
      EXPECT_EQ(in_stored.right, 112);
      EXPECT_EQ(in_stored.bottom, 72);
      // The centre of the first pixel lies half of its own side from the edge.
      EXPECT_FLOAT_EQ(face.points[0], face.rect.left + static_cast<float>(reduction) / 2 - 0.5F);
      EXPECT_FLOAT_EQ(face.points[1], face.rect.top + static_cast<float>(reduction) / 2 - 0.5F);
    }
  }
}

TEST(ReducedPhotograph, TakesTheMemoryOfWhatIsDecoded) {
  oznatool::PhotographHeader header;
  header.format = oznatool::FileFormat::kJpeg;
  header.stored = cv::Size(1001, 2002);
  EXPECT_EQ(oznatool::decodingMemory(header, 1), 3 * 1001 * 2002);
  EXPECT_EQ(oznatool::decodingMemory(header, 4), 3 * 251 * 501);
  header.orientation = 6;
  EXPECT_EQ(oznatool::decodingMemory(header, 4), 6 * 251 * 501);
  // The coefficients of a progressive file are all there.
  header.format = oznatool::FileFormat::kProgressiveJpeg;
  EXPECT_EQ(oznatool::decodingMemory(header, 4), 3 * 251 * 501 + 6 * 1001 * 2002);
}

class ReducedDecoding : public ProgramTest {
 protected:
  // A sample enlarged until its smallest face allows for reduction. The first is the JPEG file, the
  // second one the same pixels in a format that is always decoded whole.
  std::pair<std::string, std::string> enlarge(const std::string& sample, int longer_side) const {
    cv::Mat picture = cv::imread(OZNA_SOURCE_DIR "/samples/" + sample);
    const double scale = static_cast<double>(longer_side) / std::max(picture.cols, picture.rows);
    cv::resize(picture, picture, {}, scale, scale, cv::INTER_CUBIC);
    const std::string jpeg = encoded(".jpg", picture);
    writeFile(at(sample + ".jpg"), jpeg);
    const std::vector<unsigned char> bytes(jpeg.begin(), jpeg.end());
    writeFile(at(sample + ".bmp"), encoded(".bmp", cv::imdecode(bytes, cv::IMREAD_COLOR)));
    return {at(sample + ".jpg"), at(sample + ".bmp")};
  }

  // Each face of the second has one in the first that is off by at most these shares of its side.
  static void expectNear(const nlohmann::ordered_json& reduced, const nlohmann::ordered_json& whole,
                         double boxes, double points) {
    EXPECT_EQ(reduced["width"], whole["width"]);
    EXPECT_EQ(reduced["height"], whole["height"]);
    ASSERT_EQ(reduced["faces"].size(), whole["faces"].size());
    for (const auto& face : whole["faces"]) {
      const double side = face["right"].get<double>() - face["left"].get<double>();
      double best = 1e9;
      double best_points = 1e9;
      for (const auto& other : reduced["faces"]) {
        double off = 0;
        for (const char* edge : {"left", "top", "right", "bottom"}) {
          off = std::max(off, std::abs(other[edge].get<double>() - face[edge].get<double>()));
        }
        if (off >= best) continue;
        best = off;
        best_points = 0;
        if (!face.contains("points")) continue;
        for (std::size_t i = 0; i < face["points"].size(); ++i) {
          best_points +=
              std::hypot(other["points"][i][0].get<double>() - face["points"][i][0].get<double>(),
                         other["points"][i][1].get<double>() - face["points"][i][1].get<double>());
        }
        best_points /= static_cast<double>(std::max<std::size_t>(1, face["points"].size()));
      }
      EXPECT_LE(best / side, boxes) << face;
      EXPECT_LE(best_points / side, points) << face;
    }
  }
};

TEST_F(ReducedDecoding, FindsTheFacesOfTheWholePhotograph) {
  for (const auto& [sample, side] :
       {std::pair("astronaut.png", 5000), std::pair("grace_hopper.jpg", 5501),
        std::pair("group.jpg", 5600)}) {
    SCOPED_TRACE(sample);
    const auto [jpeg, whole] = enlarge(sample, side);
    const Outcome run = runOzna({"align", "--points", "68", "--json", jpeg, whole});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].substr(lines[0].find("faces")), lines[1].substr(lines[1].find("faces")))
        << "decoded whole";
    // Other roundings of the pixels may choose a neighbouring pattern of the calibration, whose
    // steps are some percent of a box; the points know nothing of it.
    expectNear(parsed(lines[0]), parsed(lines[1]), 0.1, 0.01);
  }
}

TEST_F(ReducedDecoding, LeavesAnnotatedPicturesAndChipsWhole) {
  const auto [jpeg, whole] = enlarge("astronaut.png", 5000);
  const Outcome run = runOzna({"annotate", "--points", "5", "--json", "-o", at("out.bmp"), jpeg});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(cv::imread(at("out.bmp")).size(), cv::Size(5000, 5000));
  // What is drawn is what is reported of the pixels of the whole photograph.
  const Outcome same = runOzna({"annotate", "--points", "5", "--json", "-o", at("two.bmp"), whole});
  EXPECT_EQ(parsed(run.out)["faces"], parsed(same.out)["faces"]);
  // A sidecar needs no pixels.
  const Outcome xmp = runOzna({"align", "--points", "5", "--json", "--xmp", at("xmp"), jpeg});
  EXPECT_NE(parsed(xmp.out)["faces"], parsed(same.out)["faces"]);
}

TEST_F(ReducedDecoding, NeedsTheMemoryOfTheReducedPhotograph) {
  // 6000 by 6000 pixels are 103 MiB, a quarter of them 26 MiB.
  const std::string path = at("large.jpg");
  writeFile(path, encoded(".jpg", cv::Mat(6000, 6000, CV_8UC1, cv::Scalar(90))));
  EXPECT_EQ(runOzna({"detect", "--memory", "64", path}).exit_code, 0);
  expectFailure(runOzna({"detect", "--memory", "64", "--preset", "thorough", path}), 1, "needs 10");
}

TEST_F(ReducedDecoding, HoldsForEveryOrientationAndWithABorder) {
  const auto [jpeg, whole] = enlarge("astronaut.png", 4003);
  const cv::Mat upright = cv::imread(whole);
  std::vector<std::string> arguments = {"detect", "--json", "--margin", "3", whole};
  for (int orientation = 1; orientation <= 8; ++orientation) {
    arguments.push_back(at(std::to_string(orientation) + ".jpg"));
    writeFile(arguments.back(),
              encodedWithOrientation(".jpg", asStored(upright, orientation), orientation));
  }
  const Outcome run = runOzna(arguments);
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 9U);
  for (std::size_t i = 1; i < lines.size(); ++i) {
    SCOPED_TRACE(i);
    expectNear(parsed(lines[i]), parsed(lines[0]), 0.1, 1);
  }
}

}  // namespace
}  // namespace ozna_test
