// The shared budget of memory.

#include "tools/process/memory_budget.h"

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>
#include <vector>

namespace oznatool {
namespace {

bool never() { return false; }
bool always() { return true; }

TEST(MemoryBudget, TakesNothingWhereTheStopComes) {
  MemoryBudget budget(100);
  const MemoryBudget::Lease most = budget.take(80, never);
  // Only 20 are left: this waits until the stop, which is asked at once.
  MemoryBudget::Lease other = budget.take(30, always);
  other.shrinkTo(0);  // Holds none.
  const MemoryBudget::Lease rest = budget.take(20, never);
}

TEST(MemoryBudget, GivesBackWhatIsShrunkAndWhatEnds) {
  MemoryBudget budget(100);
  {
    MemoryBudget::Lease lease = budget.take(100, never);
    lease.shrinkTo(10);
    const MemoryBudget::Lease next = budget.take(90, never);
  }
  MemoryBudget::Lease all = budget.take(100, never);
  MemoryBudget::Lease moved = std::move(all);
  all = MemoryBudget::Lease();  // What was moved away is not given back.
  std::atomic<bool> stopped{false};
  const auto once = [&stopped] { return stopped.exchange(true); };
  EXPECT_NO_THROW(budget.take(1, once));
  EXPECT_TRUE(stopped);
}

TEST(MemoryBudgetThreads, NeverHandOutMoreThanThereIs) {
  constexpr std::int64_t kTotal = 100;
  MemoryBudget budget(kTotal);
  std::atomic<std::int64_t> held{0};
  std::atomic<bool> exceeded{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        const std::int64_t bytes = 20 + (i * 7 + t * 13) % 61;
        const MemoryBudget::Lease lease = budget.take(bytes, never);
        if ((held += bytes) > kTotal) exceeded = true;
        held -= bytes;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(exceeded);
}

}  // namespace
}  // namespace oznatool
