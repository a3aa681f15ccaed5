// A float image that owns its pixels.

#include "alignment/plane.h"

#include <gtest/gtest.h>

#include <vector>

#include "alignment/gaussian_blur.h"
#include "tests/alignment/reference_pyramid.h"

namespace {

using SDMCore::Plane;

TEST(Plane, KeepsItsStorageUnlessItGrows) {
  Plane plane(4, 3);
  EXPECT_EQ(plane.storage, std::vector<float>(12, 0.0F));
  plane.data[0] = 5;
  const float* const start = plane.data;
  plane.resize(2, 5);
  EXPECT_EQ(plane.data, start);
  EXPECT_EQ(plane.data[0], 5);
  EXPECT_EQ(plane.storage.size(), 12U);
  EXPECT_EQ(plane.width, 2U);
  EXPECT_EQ(plane.height, 5U);
  plane.resize(4, 4);
  EXPECT_EQ(plane.storage, std::vector<float>(16, 0.0F));
  EXPECT_EQ(Plane().data, nullptr);
}

TEST(Plane, CopiesPointAtTheirOwnStorage) {
  Plane plane(2, 2);
  const Plane copy = plane;
  EXPECT_EQ(copy.data, copy.storage.data());
  EXPECT_NE(copy.data, plane.data);
  Plane assigned;
  assigned = plane;
  EXPECT_EQ(assigned.data, assigned.storage.data());
}

}  // namespace
