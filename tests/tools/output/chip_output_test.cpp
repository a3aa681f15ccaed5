// Aligned chips of faces.

#include <cstddef>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class Crop : public ProgramTest {};

TEST_F(Crop, WritesAChipAFaceAndNamesItInTheRecord) {
  const Outcome run = runOzna(
      {"crop", "--json", "--size", "96", "-o", at("chips"), OZNA_SOURCE_DIR "/samples/group.jpg"});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json faces = parsed(run.out)["faces"];
  ASSERT_EQ(faces.size(), 9U);
  for (std::size_t i = 0; i < faces.size(); ++i) {
    EXPECT_EQ(faces[i]["chip"], at("chips/group-" + std::to_string(i + 1) + ".png"));
    EXPECT_EQ(faces[i]["points"].size(), 5U);
    EXPECT_EQ(cv::imread(faces[i]["chip"].get<std::string>()).size(), cv::Size(96, 96));
  }
}

TEST_F(Crop, TurnsFacesUpright) {
  // The same face, upright and turned by 20 degrees: the chips show nearly the same.
  const cv::Mat upright = cv::imread(OZNA_SOURCE_DIR "/samples/astronaut.png");
  cv::Mat turned;
  cv::warpAffine(upright, turned, cv::getRotationMatrix2D({225, 120}, 20, 1), upright.size());
  writeFile(at("upright.png"), encoded(".png", upright));
  writeFile(at("turned.png"), encoded(".png", turned));
  const Outcome run = runOzna(
      {"crop", "--best", "--size", "64", "-o", at("chips"), at("upright.png"), at("turned.png")});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const cv::Rect middle(16, 16, 32, 40);
  const cv::Mat a = cv::imread(at("chips/upright-1.png"))(middle);
  const cv::Mat b = cv::imread(at("chips/turned-1.png"))(middle);
  // The mean difference of a pixel, which is above 30 for the picture that was not turned back.
  EXPECT_LT(cv::norm(a, b, cv::NORM_L1) / static_cast<double>(3 * a.total()), 18);
}

TEST_F(Crop, OverwritesNothing) {
  const std::string photograph = OZNA_SOURCE_DIR "/samples/astronaut.png";
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(runOzna({"crop", "--size", "32", "-o", at("chips"), photograph}).exit_code, 0);
  }
  EXPECT_TRUE(fs::exists(at("chips/astronaut-1.png")));
  EXPECT_TRUE(fs::exists(at("chips/astronaut-1-2.png")));
}

TEST_F(Crop, RefusesMissingDirectoryAndWrongSizes) {
  const std::string photograph = makePicture("a.png");
  expectFailure(runOzna({"crop", photograph}), 2, "--output");
  for (const char* size : {"15", "4097", "x", "-64"}) {
    expectFailure(runOzna({"crop", "-o", at("chips"), "--size", size, photograph}), 2,
                  "--size takes a whole number from 16 to 4096");
  }
  writeFile(at("file"), "");
  expectFailure(runOzna({"crop", "-o", at("file"), photograph}), 4, at("file"));
}

}  // namespace
}  // namespace ozna_test
