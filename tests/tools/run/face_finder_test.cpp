// The face that was asked for among those of a photograph.

#include "tools/run/face_finder.h"

#include <gtest/gtest.h>

namespace oznatool {
namespace {

Face face(float left, float top, float side, float score) {
  return {{left, top, left + side, top + side}, score};
}

TEST(ChooseFaces, LeavesTheBiggestTheBestOrAll) {
  const std::vector<Face> all = {face(0, 0, 10, 0.9F), face(0, 0, 30, 0.7F), face(9, 0, 10, 0.9F)};
  std::vector<Face> faces = all;
  chooseFaces(Choice::kAll, faces);
  EXPECT_EQ(faces.size(), 3U);
  chooseFaces(Choice::kBest, faces);
  ASSERT_EQ(faces.size(), 1U);
  EXPECT_EQ(faces[0].rect.left, 0);
  faces = all;
  chooseFaces(Choice::kBiggest, faces);
  ASSERT_EQ(faces.size(), 1U);
  EXPECT_EQ(faces[0].score, 0.7F);
  faces.clear();
  chooseFaces(Choice::kBest, faces);
  EXPECT_TRUE(faces.empty());
}

TEST(CountsPixels, HoldsForABoxAndForASmallestFace) {
  FindOptions options;
  EXPECT_FALSE(countsPixels(options));
  options.search.min_face_px = 40;
  EXPECT_TRUE(countsPixels(options));
  options.search.min_face_px = 0;
  options.search.min_face_share = 0.05;
  EXPECT_TRUE(countsPixels(options));
  options.search.min_face_share = 0;
  options.search.preset = oznakit::Preset::Thorough;
  EXPECT_TRUE(countsPixels(options));
  // The numbers of a scan take its place, and they are parts of the photograph.
  options.search.scan = oznakit_scan(OZNAKIT_SCAN_INIT);
  EXPECT_FALSE(countsPixels(options));
  options.box = oznakit::Box{1, 2, 3, 4};
  EXPECT_TRUE(countsPixels(options));
}

}  // namespace
}  // namespace oznatool
