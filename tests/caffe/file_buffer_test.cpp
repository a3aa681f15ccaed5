// Tests of FileBuffer: reads of all sizes, positions, what is not a file.

#include "caffe/util/file_buffer.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <istream>
#include <iterator>
#include <string>
#include <thread>

#include "tests/temporary_folder.h"

namespace {

using caffe::FileBuffer;

class FileBufferTest : public testing::Test {
 protected:
  FileBufferTest() {
    for (int i = 0; i < 50000; ++i) content_ += static_cast<char>(i * 7 + i / 251);
    std::ofstream(path_, std::ios::binary) << content_;
  }

  std::string take(std::istream& in, std::size_t count) {
    std::string bytes(count, '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(count));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    return bytes;
  }

  const ozna_test::TemporaryFolder folder_;
  const std::string path_ = folder_.file("content");
  std::string content_;
};

TEST_F(FileBufferTest, GivesByteAfterByte) {
  FileBuffer file(path_);
  ASSERT_TRUE(file.isOpen());
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(&file), {}), content_);
}

// Below, at and above the 4096 bytes of its buffer, from every state of that buffer.
TEST_F(FileBufferTest, GivesBlocksOfAllSizesInOrder) {
  for (const std::size_t size : {1, 3, 4095, 4096, 4097, 9000, 60000}) {
    FileBuffer file(path_);
    std::istream in(&file);
    std::string whole = take(in, 5);
    while (in) whole += take(in, size);
    EXPECT_EQ(whole, content_) << size;
  }
}

TEST_F(FileBufferTest, TellsAndTakesPositions) {
  FileBuffer file(path_);
  std::istream in(&file);
  take(in, 10);
  EXPECT_EQ(in.tellg(), std::streampos(10));
  in.seekg(5, std::ios::cur);
  EXPECT_EQ(take(in, 3), content_.substr(15, 3));
  in.seekg(-8, std::ios::end);
  EXPECT_EQ(take(in, 100), content_.substr(49992));
  in.clear();
  in.seekg(20000);
  EXPECT_EQ(in.tellg(), std::streampos(20000));
  EXPECT_EQ(take(in, 5000), content_.substr(20000, 5000));
  in.seekg(90000);  // Past the end, where there is nothing to read.
  EXPECT_TRUE(in.good());
  EXPECT_EQ(take(in, 1), "");
  in.clear();
  in.seekg(-1, std::ios::beg);
  EXPECT_TRUE(in.fail());
}

TEST_F(FileBufferTest, HasNoPositionsInAPipe) {
  std::remove(path_.c_str());
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  std::thread writer([&] { std::ofstream(path_, std::ios::binary) << content_; });
  FileBuffer file(path_);
  std::istream in(&file);
  in.seekg(0, std::ios::end);
  EXPECT_TRUE(in.fail());
  in.clear();
  EXPECT_EQ(take(in, 50000), content_);
  writer.join();
}

TEST_F(FileBufferTest, FoldersAndMissingFilesAreNotOpen) {
  EXPECT_FALSE(FileBuffer("/").isOpen());
  EXPECT_FALSE(FileBuffer(path_ + "_missing").isOpen());
  FileBuffer missing(path_ + "_missing");
  std::istream in(&missing);
  EXPECT_EQ(take(in, 1), "");
}

}  // namespace
