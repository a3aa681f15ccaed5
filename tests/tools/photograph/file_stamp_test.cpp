// Size and time of files.

#include "tools/photograph/file_stamp.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <limits>
#include <string>

#include "tests/temporary_folder.h"

namespace {

using oznatool::stampOf;

TEST(FileStamp, IsSizeAndTimeToTheNanosecond) {
  const ozna_test::TemporaryFolder folder;
  std::ofstream(folder.file("a")) << "seven.\n";
  // 2001-09-09 01:46:40 UTC is a billion seconds after the beginning of 1970.
  const timespec times[2] = {{0, UTIME_OMIT}, {1000000000, 7}};
  ASSERT_EQ(utimensat(AT_FDCWD, folder.file("a").c_str(), times, 0), 0);
  const auto stamp = stampOf(folder.file("a"));
  ASSERT_TRUE(stamp);
  EXPECT_EQ(stamp->bytes, 7);
  EXPECT_EQ(stamp->modified, "2001-09-09T01:46:40.000000007Z");
}

TEST(FileStamp, IsEqualWhereBothAre) {
  const oznatool::FileStamp stamp = {7, "2001-09-09T01:46:40.000000007Z"};
  EXPECT_TRUE(stamp == (oznatool::FileStamp{7, stamp.modified}));
  EXPECT_FALSE(stamp == (oznatool::FileStamp{8, stamp.modified}));
  EXPECT_FALSE(stamp == (oznatool::FileStamp{7, "2001-09-09T01:46:40.000000008Z"}));
}

TEST(FileStamp, IsNoneWithoutARegularFile) {
  const ozna_test::TemporaryFolder folder;
  EXPECT_FALSE(stampOf(folder.file("missing")));
  EXPECT_FALSE(stampOf(folder.path()));
  EXPECT_FALSE(stampOf(std::string("/dev/null")));
  // A year that has no name in the form.
  struct stat status = {};
  status.st_mode = S_IFREG;
  status.st_mtim.tv_sec = std::numeric_limits<time_t>::max();
  EXPECT_FALSE(stampOf(status));
}

}  // namespace
