// One item ahead, in order, and its ends.

#include "tools/run/read_ahead.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>

namespace oznatool {
namespace {

TEST(ReadAheadThreads, GivesAllInOrderAndThenNothing) {
  int made = 0;
  ReadAhead<int> ahead([&made] { return made < 100 ? std::optional<int>(made++) : std::nullopt; });
  for (int i = 0; i < 100; ++i) EXPECT_EQ(ahead.next(), i);
  EXPECT_EQ(ahead.next(), std::nullopt);
  EXPECT_EQ(ahead.next(), std::nullopt);
}

TEST(ReadAheadThreads, MakesOneWhileTheOneBeforeIsUsedAndNoMore) {
  std::atomic<int> begun{0};
  ReadAhead<int> ahead([&begun] { return std::optional<int>(++begun); });
  for (int used = 1; used < 4; ++used) {
    EXPECT_EQ(ahead.next(), used);
    // The next one comes without being asked for; 10 seconds are for ever here.
    for (int waited = 0; begun < used + 1 && waited < 10000; ++waited) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(begun, used + 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(begun, used + 1);
  }
}

TEST(ReadAheadThreads, PassesAnExceptionOnAfterWhatWasMadeBefore) {
  int made = 0;
  ReadAhead<int> ahead([&made]() -> std::optional<int> {
    if (++made == 2) throw std::runtime_error("gone");
    return made;
  });
  EXPECT_EQ(ahead.next(), 1);
  EXPECT_THROW(ahead.next(), std::runtime_error);
  EXPECT_EQ(ahead.next(), std::nullopt);
}

TEST(ReadAheadThreads, EndsWithAnItemThatNobodyTook) {
  std::atomic<int> begun{0};
  {
    const ReadAhead<int> ahead([&begun] { return std::optional<int>(++begun); });
  }
  EXPECT_EQ(begun, 1);
}

}  // namespace
}  // namespace oznatool
