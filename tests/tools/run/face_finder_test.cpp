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
