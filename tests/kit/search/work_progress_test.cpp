// Progress and cancelling.

#include "kit/search/work_progress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "kit/error.h"

namespace kit {
namespace {

std::int32_t note(float done, void* context) {
  static_cast<std::vector<float>*>(context)->push_back(done);
  return 1;
}

std::int32_t stop(float /*done*/, void* /*context*/) { return 0; }

TEST(WorkProgress, RisesToOneThroughItsParts) {
  std::vector<float> reported;
  WorkProgress progress(note, &reported);
  progress.beginPart(4, 0.5);
  progress.finishUnits(1);
  progress.finishUnits(3);
  progress.beginPart(2, 1);
  progress.finishUnits(1);
  progress.finish();
  EXPECT_THAT(reported, testing::ElementsAre(0, 0.125F, 0.5F, 0.5F, 0.75F, 1));
}

TEST(WorkProgress, EndsTheCallWhereTheHostSaysSo) {
  WorkProgress progress(stop, nullptr);
  try {
    progress.beginPart(1, 1);
    FAIL() << "the call goes on";
  } catch (const Error& error) {
    EXPECT_EQ(error.status(), OZNAKIT_CANCELLED);
  }
}

TEST(WorkProgress, PausesDoNotAskAgainAtOnce) {
  std::vector<float> reported;
  WorkProgress progress(note, &reported);
  progress.beginPart(1, 1);
  for (int i = 0; i < 1000; ++i) progress.pause();
  EXPECT_LT(reported.size(), 100U);
}

TEST(WorkProgress, AsksNobodyWithoutACallback) {
  WorkProgress progress(nullptr, nullptr);
  progress.beginPart(1, 1);
  progress.pause();
  progress.finish();
  EXPECT_FALSE(progress.hasListener());
}

}  // namespace
}  // namespace kit
