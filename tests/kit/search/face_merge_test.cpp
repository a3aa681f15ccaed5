// Merging the faces of several scans.

#include "kit/search/face_merge.h"

#include <gtest/gtest.h>

namespace kit {
namespace {

Face face(float left, float top, float side, float score) {
  Face face;
  face.rect = {left, top, left + side, top + side};
  face.score = score;
  return face;
}

TEST(MergeFaces, KeepsTheBestOfThoseThatOverlap) {
  std::vector<Face> faces = {face(0, 0, 10, 0.9F), face(1, 1, 10, 0.99F), face(50, 50, 10, 0.95F)};
  mergeFaces(faces);
  ASSERT_EQ(faces.size(), 2U);
  EXPECT_EQ(faces[0].score, 0.99F);
  EXPECT_EQ(faces[1].score, 0.95F);
}

TEST(MergeFaces, MeasuresOverlapByTheSmallerFace) {
  // The small face lies within the large one, at a hundredth of its area.
  std::vector<Face> faces = {face(0, 0, 100, 0.9F), face(40, 40, 10, 0.8F)};
  mergeFaces(faces);
  EXPECT_EQ(faces.size(), 1U);
}

TEST(MergeFaces, KeepsBothAtAQuarter) {
  // 5 by 5 of 10 by 10 is a quarter exactly.
  std::vector<Face> faces = {face(0, 0, 10, 0.9F), face(5, 5, 10, 0.8F)};
  mergeFaces(faces);
  EXPECT_EQ(faces.size(), 2U);
  faces = {face(0, 0, 10, 0.9F), face(4, 5, 10, 0.8F)};
  mergeFaces(faces);
  EXPECT_EQ(faces.size(), 1U);
}

}  // namespace
}  // namespace kit
