// Merging the faces of several scans.

#include "tools/face_merge.h"

#include <gtest/gtest.h>

namespace oznatool {
namespace {

Face face(float left, float top, float side, float score) {
  return {{left, top, left + side, top + side}, score};
}

TEST(MergeFaces, KeepsTheBestOfThoseThatOverlap) {
  std::vector<Face> faces = {face(0, 0, 10, 0.9F), face(1, 1, 10, 0.99F), face(50, 50, 10, 0.95F)};
  mergeFaces(&faces);
  ASSERT_EQ(faces.size(), 2u);
  EXPECT_EQ(faces[0].score, 0.99F);
  EXPECT_EQ(faces[1].score, 0.95F);
}

TEST(MergeFaces, MeasuresOverlapByTheSmallerFace) {
  // The small face lies within the large one, at a hundredth of its area.
  std::vector<Face> faces = {face(0, 0, 100, 0.9F), face(40, 40, 10, 0.8F)};
  mergeFaces(&faces);
  EXPECT_EQ(faces.size(), 1u);
}

TEST(MergeFaces, KeepsBothAtAQuarter) {
  // 5 by 5 of 10 by 10 is a quarter exactly.
  std::vector<Face> faces = {face(0, 0, 10, 0.9F), face(5, 5, 10, 0.8F)};
  mergeFaces(&faces);
  EXPECT_EQ(faces.size(), 2u);
  faces = {face(0, 0, 10, 0.9F), face(4, 5, 10, 0.8F)};
  mergeFaces(&faces);
  EXPECT_EQ(faces.size(), 1u);
}

TEST(ChooseFaces, LeavesTheBiggestTheBestOrAll) {
  const std::vector<Face> all = {face(0, 0, 10, 0.9F), face(0, 0, 30, 0.7F), face(9, 0, 10, 0.9F)};
  std::vector<Face> faces = all;
  chooseFaces(Choice::kAll, &faces);
  EXPECT_EQ(faces.size(), 3u);
  chooseFaces(Choice::kBest, &faces);
  ASSERT_EQ(faces.size(), 1u);
  EXPECT_EQ(faces[0].rect.left, 0);
  faces = all;
  chooseFaces(Choice::kBiggest, &faces);
  ASSERT_EQ(faces.size(), 1u);
  EXPECT_EQ(faces[0].score, 0.7F);
  faces.clear();
  chooseFaces(Choice::kBest, &faces);
  EXPECT_TRUE(faces.empty());
}

}  // namespace
}  // namespace oznatool
