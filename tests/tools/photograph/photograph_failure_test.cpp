// What a failure of one photograph says.

#include "tools/photograph/photograph_failure.h"

#include <gtest/gtest.h>

#include <new>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>

namespace {

using oznatool::FailureKind;
using oznatool::failureOf;
using oznatool::PhotographFailure;

TEST(PhotographFailure, NamesThePathSoThatATerminalObeysNothingOfIt) {
  const PhotographFailure failure("a\x1B[2J.jpg", FailureKind::kFormat, "is empty");
  EXPECT_EQ(std::string(failure.what()).find('\x1B'), std::string::npos);
  EXPECT_NE(std::string(failure.what()).find(": is empty"), std::string::npos);
  EXPECT_EQ(failure.reason(), "is empty");
  EXPECT_EQ(failure.kind(), FailureKind::kFormat);
}

TEST(PhotographFailure, HasTheStatusOfItsKind) {
  EXPECT_EQ(PhotographFailure("a", FailureKind::kParameter, "").code(), oznatool::kExitUsage);
  for (const FailureKind kind :
       {FailureKind::kRead, FailureKind::kFormat, FailureKind::kMemory, FailureKind::kSearch}) {
    EXPECT_EQ(PhotographFailure("a", kind, "").code(), oznatool::kExitPhotographs);
  }
}

TEST(PhotographFailure, KindsHaveTheNamesThatStandInTheData) {
  EXPECT_STREQ(nameOf(FailureKind::kRead), "read");
  EXPECT_STREQ(nameOf(FailureKind::kFormat), "format");
  EXPECT_STREQ(nameOf(FailureKind::kMemory), "memory");
  EXPECT_STREQ(nameOf(FailureKind::kParameter), "parameter");
  EXPECT_STREQ(nameOf(FailureKind::kSearch), "search");
}

TEST(PhotographFailure, OfALibraryIsForWantOfMemoryOrHasItsWords) {
  EXPECT_EQ(failureOf("a", std::bad_alloc()).kind(), FailureKind::kMemory);
  EXPECT_EQ(failureOf("a", cv::Exception(cv::Error::StsNoMem, "", "", "", 0)).kind(),
            FailureKind::kMemory);
  EXPECT_EQ(failureOf("a", cv::Exception(cv::Error::StsBadArg, "", "", "", 0)).kind(),
            FailureKind::kSearch);
  const PhotographFailure other = failureOf("a", std::runtime_error("odd"));
  EXPECT_EQ(other.kind(), FailureKind::kSearch);
  EXPECT_STREQ(other.what(), "a: odd");
}

}  // namespace
