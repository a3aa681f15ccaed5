// Detectors that are lent and given back.

#include "kit/detector_pool.h"

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <vector>

#include "kit/models/model_source.h"
#include "tests/kit/small_cascade.h"

namespace {

using kit::DetectorPool;

kit::Cascade smallCascade() {
  const auto files = kit_test::smallCascade();
  const auto option = kit_test::asOption(files);
  return kit::Cascade(*kit::memorySource(option.data(), option.size()));
}

TEST(DetectorPool, LendsOneDetectorToEachAtTheSameTime) {
  kit::Cascade cascade = smallCascade();
  DetectorPool pool(cascade);
  EXPECT_EQ(pool.count(), 0);
  {
    DetectorPool::Loan first(pool);
    DetectorPool::Loan second(pool);
    EXPECT_NE(&first.detector(), &second.detector());
    EXPECT_TRUE(first.detector().loaded);
    EXPECT_TRUE(second.detector().loaded);
    EXPECT_EQ(pool.count(), 2);
  }
  EXPECT_EQ(pool.count(), 2) << "They are kept for the next searches.";
}

TEST(DetectorPool, LendsTheOneThatWasUsedLast) {
  kit::Cascade cascade = smallCascade();
  DetectorPool pool(cascade);
  std::optional<DetectorPool::Loan> first(std::in_place, pool);
  std::optional<DetectorPool::Loan> second(std::in_place, pool);
  const oznalib::DetectorImpl* const last = &second->detector();
  first.reset();
  second.reset();
  EXPECT_EQ(&DetectorPool::Loan(pool).detector(), last);
  EXPECT_EQ(pool.count(), 2);
}

TEST(DetectorPool, TrimsThoseThatNobodyHas) {
  kit::Cascade cascade = smallCascade();
  DetectorPool pool(cascade);
  pool.trim();
  EXPECT_EQ(pool.count(), 0);
  {
    DetectorPool::Loan kept(pool);
    { DetectorPool::Loan other(pool); }
    pool.trim();
    EXPECT_EQ(pool.count(), 1);
    EXPECT_TRUE(kept.detector().loaded);
  }
  EXPECT_EQ(pool.count(), 1);
  pool.trim();
  EXPECT_EQ(pool.count(), 0);
  EXPECT_TRUE(DetectorPool::Loan(pool).detector().loaded);
}

TEST(DetectorPoolThreads, LendAndTrimAtOnce) {
  kit::Cascade cascade = smallCascade();
  DetectorPool pool(cascade);
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&pool, i] {
      for (int round = 0; round < 50; ++round) {
        DetectorPool::Loan loan(pool);
        EXPECT_TRUE(loan.detector().loaded);
        if (i == 0) pool.trim();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_LE(pool.count(), 4);
  pool.trim();
  EXPECT_EQ(pool.count(), 0);
}

}  // namespace
