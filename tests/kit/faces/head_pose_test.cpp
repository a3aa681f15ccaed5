// The turn of a head from its projected landmarks.

#include "kit/faces/head_pose.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "kit/faces/head_shape.h"

namespace {

using kit::HeadPose;
using kit::headPose;

constexpr double kRadians = 0.017453292519943295;

struct Turn {
  double roll, yaw, pitch;  // Degrees.
};

// The head seen by a camera at a distance in millimetres, or from far away where it is 0. The turns
// are written out point by point: up, then right, then clockwise.
std::vector<float> project(const Turn& turn, double distance, double pixels_per_mm) {
  const double up = turn.pitch * kRadians;
  const double right = turn.yaw * kRadians;
  const double clockwise = turn.roll * kRadians;
  std::vector<float> points;
  for (const cv::Vec3d& p : kit::kHeadShape) {
    double x = p[0];
    double y = p[1] - 40;
    double z = p[2] - 10;
    // What points at the viewer, at negative z, goes up, to negative y.
    const double y1 = y * std::cos(up) + z * std::sin(up);
    const double z1 = z * std::cos(up) - y * std::sin(up);
    // And to the right, to positive x.
    const double x2 = x * std::cos(right) - z1 * std::sin(right);
    const double z2 = z1 * std::cos(right) + x * std::sin(right);
    // What points to the right goes down, to positive y.
    x = x2 * std::cos(clockwise) - y1 * std::sin(clockwise);
    y = y1 * std::cos(clockwise) + x2 * std::sin(clockwise);
    z = z2;
    const double scale = pixels_per_mm * (distance > 0 ? distance / (distance + z) : 1);
    points.push_back(static_cast<float>(300 + scale * x));
    points.push_back(static_cast<float>(200 + scale * y));
  }
  return points;
}

void expectPose(const HeadPose& pose, const Turn& turn, double tolerance) {
  EXPECT_NEAR(std::remainder(pose.roll - turn.roll, 360), 0, tolerance);
  EXPECT_NEAR(pose.yaw, turn.yaw, tolerance);
  EXPECT_NEAR(pose.pitch, turn.pitch, tolerance);
}

template <class Check>
void forAllTurns(const Check& check) {
  for (const double roll : {-170.0, -90.0, -20.0, 0.0, 35.0, 120.0}) {
    for (double yaw = -45; yaw <= 45; yaw += 15) {
      for (double pitch = -30; pitch <= 30; pitch += 15) {
        SCOPED_TRACE(testing::Message() << roll << " " << yaw << " " << pitch);
        check(Turn{roll, yaw, pitch});
      }
    }
  }
}

TEST(HeadPose, IsExactForTheAverageHeadSeenFromFarAway) {
  forAllTurns([](const Turn& turn) {
    for (const double pixels_per_mm : {0.2, 5.0}) {
      const HeadPose pose = headPose(project(turn, 0, pixels_per_mm));
      expectPose(pose, turn, 0.1);
      EXPECT_LT(pose.misfit, 1e-3);
    }
  });
}

TEST(HeadPose, HoldsWithinSomeDegreesForCamerasNearby) {
  forAllTurns([](const Turn& turn) {
    expectPose(headPose(project(turn, 1500, 2)), turn, 2.5);
    expectPose(headPose(project(turn, 600, 2)), turn, 6);
  });
  // Roll does not suffer from that where the head is not turned otherwise.
  for (double roll = -180; roll <= 180; roll += 7.5) {
    const HeadPose pose = headPose(project({roll, 0, 0}, 600, 2));
    EXPECT_NEAR(std::remainder(pose.roll - roll, 360), 0, 0.1);
  }
}

TEST(HeadPose, WithstandsNoise) {
  // A pixel on a face of 180 pixels.
  std::mt19937 random(3);
  std::normal_distribution<float> pixel(0, 1);
  forAllTurns([&](const Turn& turn) {
    std::vector<float> points = project(turn, 0, 2);
    for (float& coordinate : points) {
      coordinate += pixel(random);
    }
    const HeadPose pose = headPose(points);
    EXPECT_NEAR(std::remainder(pose.roll - turn.roll, 360), 0, 3);
    EXPECT_NEAR(pose.yaw, turn.yaw, 6);
    EXPECT_NEAR(pose.pitch, turn.pitch, 8);
  });
}

TEST(HeadPose, TurnsWithThePicture) {
  // Whatever the face is like.
  std::mt19937 random(4);
  std::normal_distribution<float> pixel(0, 6);
  std::vector<float> points = project({10, 20, -10}, 0, 2);
  for (float& coordinate : points) {
    coordinate += pixel(random);
  }
  const HeadPose before = headPose(points);
  std::vector<float> turned;  // A quarter clockwise: (x, y) -> (500 - y, x).
  for (std::size_t i = 0; i < points.size(); i += 2) {
    turned.push_back(500 - points[i + 1]);
    turned.push_back(points[i]);
  }
  const HeadPose after = headPose(turned);
  EXPECT_NEAR(after.roll, before.roll + 90, 0.01);
  EXPECT_NEAR(after.yaw, before.yaw, 0.01);
  EXPECT_NEAR(after.pitch, before.pitch, 0.01);
  EXPECT_NEAR(after.misfit, before.misfit, 1e-4);
}

TEST(HeadPose, IsUnknownWithoutAFace) {
  for (const float wrong : {0.0F, 1e6F}) {
    const HeadPose pose = headPose(std::vector<float>(136, wrong));
    EXPECT_TRUE(std::isnan(pose.roll) && std::isnan(pose.yaw) && std::isnan(pose.pitch) &&
                std::isnan(pose.misfit));
  }
}

}  // namespace
