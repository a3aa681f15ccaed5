// The photographs of a detection data folder.

#include "training/detector/mine/photographs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/temporary_folder.h"

namespace detector_training {
namespace {

TEST(DetectionPhotographs, AreReadLineByLine) {
  const ozna_test::TemporaryFolder folder;
  std::filesystem::create_directories(folder.file("detection"));
  std::ofstream(folder.file("detection/train.jsonl"))
      << R"({"image": "train/a.jpg", "width": 40, "height": 30, "faces": [{"cx": 9.5, "cy": 8, "side": 6.25, "ignore": true}]})"
      << "\n\n"
      << R"({"image": "train/b.jpg", "width": 4, "height": 3, "faces": []})"
      << "\n";
  const auto photographs = readPhotographs(folder.path(), "train");
  ASSERT_EQ(photographs.size(), 2U);
  EXPECT_EQ(photographs[0].path, folder.file("detection/train/a.jpg"));
  EXPECT_EQ(photographs[0].width, 40);
  EXPECT_EQ(photographs[0].height, 30);
  ASSERT_EQ(photographs[0].faces.size(), 1U);
  EXPECT_EQ(photographs[0].faces[0].cx, 9.5);
  EXPECT_EQ(photographs[0].faces[0].cy, 8);
  EXPECT_EQ(photographs[0].faces[0].side, 6.25);
  EXPECT_TRUE(photographs[0].faces[0].ignore);
  EXPECT_TRUE(photographs[1].faces.empty());
}

TEST(DetectionPhotographs, NameTheLineThatCannotBeRead) {
  const ozna_test::TemporaryFolder folder;
  std::filesystem::create_directories(folder.file("detection"));
  std::ofstream(folder.file("detection/dev.jsonl"))
      << R"({"image": "a.jpg", "width": 4, "height": 3, "faces": []})"
      << "\n{\"image\": 1}\n";
  try {
    readPhotographs(folder.path(), "dev");
    FAIL() << "a bad line was read";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), testing::HasSubstr("dev.jsonl:2: "));
  }
  EXPECT_THROW(readPhotographs(folder.path(), "train"), std::runtime_error);
}

TEST(DetectionPhotographs, OfLandmarksHaveTheSquareOfTheirFace) {
  const ozna_test::TemporaryFolder folder;
  std::filesystem::create_directories(folder.file("landmarks"));
  // 40 wide, 60 high: the height decides. 100 wide, 60 high: nine tenths of the width do.
  std::ofstream(folder.file("landmarks/train.jsonl"))
      << R"({"image": "train/a.jpg", "width": 400, "height": 300, "points": [[10, 20], [50, 30], [30, 80]]})"
      << "\n"
      << R"({"image": "train/b.jpg", "width": 400, "height": 300, "points": [[10, 80], [110, 20]]})"
      << "\n";
  const auto photographs = readLandmarkPhotographs(folder.path(), "train");
  ASSERT_EQ(photographs.size(), 2U);
  EXPECT_EQ(photographs[0].path, folder.file("landmarks/train/a.jpg"));
  EXPECT_TRUE(photographs[0].background_unknown);
  ASSERT_EQ(photographs[0].faces.size(), 1U);
  const FaceSquare& face = photographs[0].faces[0];
  EXPECT_DOUBLE_EQ(face.cx, 30.5);
  EXPECT_DOUBLE_EQ(face.cy, 80 - 0.675 * 60 + 0.5);
  EXPECT_DOUBLE_EQ(face.side, 1.18 * 60);
  EXPECT_FALSE(face.ignore);
  EXPECT_DOUBLE_EQ(photographs[1].faces[0].side, 1.18 * 0.9 * 100);
  EXPECT_THROW(readLandmarkPhotographs(folder.path(), "dev"), std::runtime_error);
}

TEST(DetectionPhotographs, AreDividedByNameAlone) {
  std::vector<Photograph> here;
  std::vector<Photograph> there;
  for (int i = 0; i < 1000; ++i) {
    const std::string name = std::to_string(i) + ".jpg";
    here.push_back({"/here/" + name, 0, 0, {}});
    there.push_back({"/there/" + name, 0, 0, {}});
  }
  const auto held = takePart(here, Part::Held);
  const auto fit = takePart(here, Part::Fit);
  EXPECT_EQ(held.size() + fit.size(), here.size());
  EXPECT_GT(held.size(), 60U);
  EXPECT_LT(held.size(), 140U);
  std::set<std::string> names;
  for (const Photograph& photograph : held) names.insert(photograph.path.substr(6));
  for (const Photograph& photograph : fit) EXPECT_EQ(names.count(photograph.path.substr(6)), 0U);
  const auto held_there = takePart(there, Part::Held);
  ASSERT_EQ(held_there.size(), held.size());
  for (const Photograph& photograph : held_there) {
    EXPECT_EQ(names.count(photograph.path.substr(7)), 1U);
  }
  EXPECT_EQ(takePart(here, Part::All).size(), here.size());
}

TEST(DetectionPhotographs, WithoutFacesComeInTheOrderOfTheirNames) {
  const ozna_test::TemporaryFolder folder;
  std::filesystem::create_directories(folder.file("negatives"));
  for (const char* name : {"b.jpg", "c.jpg", "a.jpg"}) {
    std::ofstream(folder.file("negatives/") + name);
  }
  std::vector<std::string> paths;
  for (const Photograph& photograph : listNegatives(folder.path())) {
    EXPECT_TRUE(photograph.faces.empty());
    EXPECT_EQ(photograph.width, 0);
    paths.push_back(photograph.path);
  }
  EXPECT_EQ(paths, (std::vector<std::string>{folder.file("negatives/a.jpg"),
                                             folder.file("negatives/b.jpg"),
                                             folder.file("negatives/c.jpg")}));
}

}  // namespace
}  // namespace detector_training
