// The frame of the trainers' programs.

#include "training/common/program.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace training {
namespace {

TEST(RunProgram, ReturnsZeroWhenTheWorkIsDone) {
  int calls = 0;
  EXPECT_EQ(runProgram("trainer", 1, [&] { ++calls; }), 0);
  EXPECT_EQ(calls, 1);
}

TEST(RunProgram, WritesAnExceptionBehindTheNameAndReturnsOne) {
  testing::internal::CaptureStderr();
  EXPECT_EQ(runProgram("trainer", 1, [] { throw std::runtime_error("no photograph"); }), 1);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "trainer: no photograph\n");
}

}  // namespace
}  // namespace training
