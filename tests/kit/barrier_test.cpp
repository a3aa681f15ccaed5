// Exceptions turned into statuses and sentences.

#include "kit/barrier.h"

#include <gtest/gtest.h>

#include <new>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>
#include <thread>

#include "kit/error.h"

namespace {

template <class Exception>
oznakit_status statusOf(const Exception& exception) {
  return kit::guarded([&] { throw exception; });
}

TEST(Guarded, ReturnsOkWhereNothingIsThrown) {
  EXPECT_EQ(kit::guarded([] {}), OZNAKIT_OK);
}

TEST(Guarded, ReturnsTheStatusAndKeepsTheSentenceOfAnError) {
  EXPECT_EQ(statusOf(kit::Error(OZNAKIT_BAD_MODEL, "Expected a, found b.")), OZNAKIT_BAD_MODEL);
  EXPECT_STREQ(oznakit_last_message(), "Expected a, found b.");
}

TEST(Guarded, KeepsTheSentenceOverACallThatSucceeds) {
  statusOf(kit::Error(OZNAKIT_BAD_MODEL, "Expected a, found b."));
  EXPECT_EQ(kit::guarded([] {}), OZNAKIT_OK);
  EXPECT_STREQ(oznakit_last_message(), "Expected a, found b.");
}

TEST(Guarded, ReportsFailedAllocationsOfEveryKind) {
  EXPECT_EQ(statusOf(std::bad_alloc()), OZNAKIT_NO_MEMORY);
  EXPECT_EQ(statusOf(std::bad_array_new_length()), OZNAKIT_NO_MEMORY);
  EXPECT_EQ(statusOf(cv::Exception(cv::Error::StsNoMem, "none", "f", "g", 1)), OZNAKIT_NO_MEMORY);
}

TEST(Guarded, ReportsAnyOtherExceptionAsAFaultOfTheLibrary) {
  EXPECT_EQ(statusOf(std::runtime_error("odd")), OZNAKIT_INTERNAL);
  EXPECT_STREQ(oznakit_last_message(), "A fault of the library: odd");
  EXPECT_EQ(statusOf(cv::Exception(cv::Error::StsBadArg, "bad", "f", "g", 1)), OZNAKIT_INTERNAL);
  EXPECT_EQ(statusOf(7), OZNAKIT_INTERNAL);
}

TEST(Guarded, CutsALongSentenceBetweenCharacters) {
  std::string sentence(1022, 'x');
  sentence += "\xC3\xA4\xC3\xA4";  // 1024 bytes with the end of the second one; 1023 find room.
  statusOf(kit::Error(OZNAKIT_BAD_MODEL, sentence));
  EXPECT_EQ(std::string(oznakit_last_message()), std::string(1022, 'x'));
}

TEST(LastMessageThreads, BelongsToTheThread) {
  statusOf(kit::Error(OZNAKIT_BAD_MODEL, "of this thread"));
  std::string in_other = "unset";
  std::thread([&] {
    in_other = oznakit_last_message();
    statusOf(kit::Error(OZNAKIT_BAD_MODEL, "of the other"));
  }).join();
  EXPECT_EQ(in_other, "");
  EXPECT_STREQ(oznakit_last_message(), "of this thread");
}

}  // namespace
