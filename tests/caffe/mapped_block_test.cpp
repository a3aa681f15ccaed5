// Tests of blocks of memory that come from the system.

#include "caffe/util/mapped_block.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <limits>

namespace caffe {
namespace {

TEST(MappedBlock, IsOfZerosThatMayBeWritten) {
  for (const bool filled : {false, true}) {
    for (const std::size_t bytes : {std::size_t{1}, std::size_t{4096}, std::size_t{3} << 20}) {
      auto* const block = static_cast<unsigned char*>(MapBlock(bytes, filled));
      ASSERT_NE(block, nullptr);
      EXPECT_EQ(block[0], 0);
      EXPECT_EQ(block[bytes - 1], 0);
      block[0] = block[bytes - 1] = 7;
      EXPECT_EQ(block[bytes - 1], 7);
      UnmapBlock(block, bytes);
    }
  }
}

TEST(MappedBlock, IsNullWhereThereIsNoMemory) {
  EXPECT_EQ(MapBlock(std::numeric_limits<std::size_t>::max() / 2, false), nullptr);
  EXPECT_EQ(MapBlock(std::numeric_limits<std::size_t>::max() / 2, true), nullptr);
}

TEST(MappedBlock, LeavesTheErrorNumberAndNullAlone) {
  errno = 77;
  void* const block = MapBlock(5000, true);
  EXPECT_EQ(errno, 77);
  UnmapBlock(block, 5000);
  UnmapBlock(nullptr, 5000);
  EXPECT_EQ(errno, 77);
}

}  // namespace
}  // namespace caffe
