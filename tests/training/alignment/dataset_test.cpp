// Annotated faces from JSON lines.

#include "training/alignment/dataset.h"

#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>
#include <string>

#include "tests/temporary_folder.h"
#include "tests/training/alignment/small_training.h"

namespace alignment_training {
namespace {

TEST(ReadLandmarkFaces, ReturnsTheRecordsInTheirOrder) {
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "dev", 3, /*seed=*/1);
  const auto faces = readLandmarkFaces(folder.path(), "dev");
  ASSERT_EQ(faces.size(), 3U);
  EXPECT_EQ(faces[0].image, "dev0.png");
  EXPECT_EQ(faces[2].image, "dev2.png");
  EXPECT_TRUE(faces[1].manual);
  EXPECT_FALSE(faces[2].manual);
  std::mt19937 random(1);
  EXPECT_EQ(faces[0].points, drawFace(random).points);
}

TEST(ReadLandmarkFaces, NamesTheLineOfADamagedRecord) {
  const ozna_test::TemporaryFolder folder;
  drawDataset(folder.path(), "train", 1, /*seed=*/1);
  std::ofstream(folder.file("train.jsonl"), std::ios::app)
      << "{\"image\": \"x\", \"quality\": \"manual\", \"points\": [[1, 2]]}\n";
  try {
    readLandmarkFaces(folder.path(), "train");
    FAIL() << "accepted a face with one point";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("train.jsonl:2:"), std::string::npos) << error.what();
  }
}

TEST(ReadLandmarkFaces, NamesAListThatIsMissing) {
  const ozna_test::TemporaryFolder folder;
  try {
    readLandmarkFaces(folder.path(), "train");
    FAIL() << "read a list that is not there";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "cannot open " + folder.file("train.jsonl"));
  }
}

TEST(HoldOut, TakesEveryNthFaceOut) {
  std::vector<LandmarkFace> faces;
  for (const char* name : {"a", "b", "c", "d", "e", "f", "g"}) faces.push_back({name, true, {}});
  const auto names = [](const std::vector<LandmarkFace>& list) {
    std::string joined;
    for (const LandmarkFace& face : list) joined += face.image;
    return joined;
  };
  EXPECT_EQ(names(holdOut(3, faces)), "cf");
  EXPECT_EQ(names(faces), "abdeg");
  EXPECT_TRUE(holdOut(6, faces).empty());
  EXPECT_EQ(names(faces), "abdeg");
}

}  // namespace
}  // namespace alignment_training
