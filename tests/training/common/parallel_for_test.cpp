// A loop on several threads.

#include "training/common/parallel_for.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <vector>

namespace training {
namespace {

TEST(ParallelFor, VisitsEachIndexOnceAndPassesOnFailures) {
  std::vector<int> visits(100);
  parallelFor(100, 3, [&](int index) { ++visits[index]; });
  EXPECT_EQ(visits, std::vector<int>(100, 1));
  EXPECT_THROW(parallelFor(10, 3,
                           [](int index) {
                             if (index == 4) throw std::runtime_error("four");
                           }),
               std::runtime_error);
}

}  // namespace
}  // namespace training
