// A file comes in full blocks, whatever pieces it is read in.

#include "caffe/util/file_blocks.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>

namespace {

using caffe::FileBlocks;

// Ten bytes in a file that is gone once the descriptor is closed.
int tenBytes() {
  std::FILE* const file = std::tmpfile();
  std::fputs("0123456789", file);
  std::rewind(file);
  const int fd = dup(fileno(file));
  std::fclose(file);
  lseek(fd, 0, SEEK_SET);
  return fd;
}

std::string next(FileBlocks& blocks) {
  const void* data = nullptr;
  int size = 0;
  if (!blocks.Next(&data, &size)) return "end";
  return {static_cast<const char*>(data), static_cast<std::size_t>(size)};
}

TEST(FileBlocks, AreFullButForTheLast) {
  const int fd = tenBytes();
  FileBlocks blocks(fd, 4);
  EXPECT_EQ("0123", next(blocks));
  EXPECT_EQ("4567", next(blocks));
  EXPECT_EQ(8, blocks.ByteCount());
  EXPECT_EQ("89", next(blocks));
  EXPECT_EQ("end", next(blocks));
  EXPECT_EQ("end", next(blocks));
  EXPECT_EQ(10, blocks.ByteCount());
  EXPECT_EQ(0, blocks.error());
  close(fd);
}

TEST(FileBlocks, AreOneWhereTheFileFits) {
  const int fd = tenBytes();
  FileBlocks blocks(fd, 10);
  EXPECT_EQ("0123456789", next(blocks));
  EXPECT_EQ("end", next(blocks));
  close(fd);
}

TEST(FileBlocks, AreGivenAgainAsFarAsTheyAreBackedUp) {
  const int fd = tenBytes();
  FileBlocks blocks(fd, 6);
  EXPECT_EQ("012345", next(blocks));
  blocks.BackUp(2);
  EXPECT_EQ(4, blocks.ByteCount());
  EXPECT_EQ("45", next(blocks));
  blocks.BackUp(2);
  EXPECT_TRUE(blocks.Skip(3));
  EXPECT_EQ(7, blocks.ByteCount());
  EXPECT_EQ("789", next(blocks));
  EXPECT_FALSE(blocks.Skip(1));
  close(fd);
}

// A pipe gives as many bytes as are in it.
TEST(FileBlocks, AreFilledFromSeveralReads) {
  int ends[2];
  ASSERT_EQ(0, pipe(ends));
  std::thread writer([&] {
    for (const char* const part : {"01", "234", "5", "6789"}) {
      EXPECT_LT(0, write(ends[1], part, std::string(part).size()));
      usleep(1000);
    }
    close(ends[1]);
  });
  FileBlocks blocks(ends[0], 7);
  EXPECT_EQ("0123456", next(blocks));
  EXPECT_EQ("789", next(blocks));
  EXPECT_EQ("end", next(blocks));
  writer.join();
  close(ends[0]);
}

TEST(FileBlocks, EndAtAReadThatFails) {
  const int fd = open("/", O_RDONLY);  // Opens, and cannot be read.
  FileBlocks blocks(fd, 4);
  EXPECT_EQ("end", next(blocks));
  EXPECT_EQ(EISDIR, blocks.error());
  close(fd);
}

}  // namespace
