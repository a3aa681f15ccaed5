// Maps that turn, scale and move.

#include "kit/faces/similarity.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using kit::fitSimilarity;
using kit::Similarity;

TEST(FitSimilarity, FindsTurnScaleAndShift) {
  // A quarter turn, twice as large, moved by 10 and 20: (x, y) -> (-2 y + 10, 2 x + 20).
  const std::vector<cv::Point2d> from = {{0, 0}, {1, 0}, {0, 1}, {3, 5}, {-2, 4}};
  std::vector<cv::Point2d> to;
  for (const cv::Point2d& p : from) {
    to.push_back({-2 * p.y + 10, 2 * p.x + 20});
  }
  const Similarity map = fitSimilarity(from, to);
  EXPECT_NEAR(map.a, 0, 1e-12);
  EXPECT_NEAR(map.b, 2, 1e-12);
  EXPECT_NEAR(map.tx, 10, 1e-12);
  EXPECT_NEAR(map.ty, 20, 1e-12);
  const cv::Point2d back = kit::inverse(map)(map({7, -3}));
  EXPECT_NEAR(back.x, 7, 1e-12);
  EXPECT_NEAR(back.y, -3, 1e-12);
}

TEST(FitSimilarity, DoesNotMirrorAndHasTheLeastError) {
  const std::vector<cv::Point2d> from = {{0, 0}, {4, 0}, {4, 3}, {1, 2}};
  const std::vector<cv::Point2d> to = {{1, 1}, {8, 2}, {6, 9}, {2, 5}};
  const auto error = [&](const Similarity& map) {
    double sum = 0;
    for (std::size_t i = 0; i < from.size(); ++i) {
      const cv::Point2d d = map(from[i]) - to[i];
      sum += d.dot(d);
    }
    return sum;
  };
  const Similarity best = fitSimilarity(from, to);
  // Every small change makes it worse.
  for (const double step : {-1e-3, 1e-3}) {
    EXPECT_GT(error({best.a + step, best.b, best.tx, best.ty}), error(best));
    EXPECT_GT(error({best.a, best.b + step, best.tx, best.ty}), error(best));
    EXPECT_GT(error({best.a, best.b, best.tx + step, best.ty}), error(best));
    EXPECT_GT(error({best.a, best.b, best.tx, best.ty + step}), error(best));
  }
}

}  // namespace
