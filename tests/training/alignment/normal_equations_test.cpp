// Ridge regression by hand-worked numbers.

#include "training/alignment/normal_equations.h"

#include <gtest/gtest.h>

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

TEST(NormalEquations, RefuseAMatrixThatHasNoFactor) {
  NormalEquations equations(2, 1);
  EXPECT_THROW(equations.solveInPlace(0.0), std::runtime_error);
}

}  // namespace
}  // namespace alignment_training
