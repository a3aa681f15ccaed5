// Ridge regression by hand-worked numbers.

#include "training/alignment/normal_equations.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <vector>

namespace alignment_training {
namespace {

TEST(NormalEquations, SolveRidgeRegression) {
  // X'X = [5 2; 2 2], X'Y = [5; 3]; with ridge 1: [6 2; 2 3] p = [5; 3], so p = (9/14, 8/14).
  const float x[] = {1, 1, 2, 0.5F, 0, 0.866025404F};
  const float y[] = {1, 2, 1.154700538F};
  NormalEquations equations(2, 1);
  equations.add(x, y, 2);
  equations.add(x + 4, y + 2, 1);
  EXPECT_NEAR(equations.meanDiagonal(), 3.5, 1e-6);
  const std::vector<float> solution = equations.solveInPlace(1.0);
  EXPECT_NEAR(solution[0], 9.0 / 14, 1e-5);
  EXPECT_NEAR(solution[1], 8.0 / 14, 1e-5);
}

TEST(NormalEquations, OfAllRowsLessAFoldAreThoseOfTheOthers) {
  const float x[] = {1, 2, 3, 4, 5, 7};
  const float y[] = {1, 0, 2};
  NormalEquations all(2, 1);
  all.add(x, y, 3);
  NormalEquations fold(2, 1);
  fold.add(x + 4, y + 2, 1);
  all.accumulate(fold, -1.0F);
  NormalEquations others(2, 1);
  others.add(x, y, 2);
  EXPECT_EQ(all.solveInPlace(0.5), others.solveInPlace(0.5));
}

TEST(NormalEquations, TakeARidgeForEachFeatureAndKeepTheSums) {
  // X'X = [5 2; 2 2] and the columns of X'Y are [5; 3] and [1; 0]. With ridges 1 and 2 the matrix is
  // [6 2; 2 4], of determinant 20, and the second column gives (4/20, -2/20), the first (14/20, 8/20).
  const float x[] = {1, 1, 2, 0.5F, 0, 0.866025404F};
  const float y[] = {1, 1, 2, 0, 1.154700538F, -1.154700538F};
  NormalEquations equations(2, 2);
  equations.add(x, y, 3);
  const std::vector<float> second = equations.solve({1, 2}, {1});
  ASSERT_EQ(second.size(), 2U);
  EXPECT_NEAR(second[0], 4.0 / 20, 1e-5);
  EXPECT_NEAR(second[1], -2.0 / 20, 1e-5);
  const std::vector<float> both = equations.solve({1, 2}, {1, 0});
  ASSERT_EQ(both.size(), 4U);
  EXPECT_NEAR(both[0], 4.0 / 20, 1e-5);
  EXPECT_NEAR(both[1], 14.0 / 20, 1e-5);
  EXPECT_NEAR(both[2], -2.0 / 20, 1e-5);
  EXPECT_NEAR(both[3], 8.0 / 20, 1e-5);
}

TEST(NormalEquations, LeaveAFeatureOfInfiniteRidgeOut) {
  const float x[] = {1, 1, 2, 0.5F, 0, 0.866025404F};
  const float y[] = {1, 2, 1.154700538F};
  NormalEquations equations(2, 1);
  equations.add(x, y, 3);
  // 2 + 1 is left of the matrix, and 3 of the right side.
  const std::vector<float> solution =
      equations.solve({std::numeric_limits<float>::infinity(), 1}, {0});
  EXPECT_EQ(solution[0], 0.0F);
  EXPECT_NEAR(solution[1], 1.0, 1e-5);
}

TEST(NormalEquations, RefuseAMatrixThatHasNoFactor) {
  NormalEquations equations(2, 1);
  EXPECT_THROW(equations.solve({0, 0}, {0}), std::runtime_error);
  EXPECT_THROW(equations.solveInPlace(0.0), std::runtime_error);
}

}  // namespace
}  // namespace alignment_training
