// Tests of the readers of text and binary messages.

#include "caffe/util/io.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <thread>

#include "tests/caffe/test_helpers.h"
#include "tests/german_locale.h"
#include "tests/temporary_folder.h"

namespace caffe {
namespace {

// A file of its own for each test, removed at the end.
class IoTest : public testing::Test {
 protected:
  void Write(const std::string& bytes) {
    std::ofstream(path_, std::ios::binary).write(bytes.data(), bytes.size());
  }
  bool ReadText() { return ReadProtoFromTextFile(path_.c_str(), &param_); }
  bool ReadBinary() { return ReadProtoFromBinaryFile(path_.c_str(), &param_); }

  const ozna_test::TemporaryFolder folder_;
  const std::string path_ = folder_.file("network");
  NetParameter param_;
};

using TextReader = IoTest;
using BinaryReader = IoTest;
using TextReaderDeathTest = IoTest;
using BinaryReaderDeathTest = IoTest;

TEST_F(TextReader, ParsesWithAndWithoutAFinalLineBreak) {
  for (const char* text : {"name: 'n'\ninput: 'x'\n", "name: 'n'\ninput: 'x'"}) {
    Write(text);
    ASSERT_TRUE(ReadText());
    EXPECT_EQ("n", param_.name());
    ASSERT_EQ(1, param_.input_size());
    EXPECT_EQ("x", param_.input(0));
  }
}

TEST_F(TextReader, EndsACommentOnAnUnfinishedLastLine) {
  Write("name: 'n' # no line break behind this");
  EXPECT_TRUE(ReadText());
  EXPECT_EQ("n", param_.name());
}

TEST_F(TextReader, TakesAnEmptyFileForAnEmptyMessage) {
  param_.set_name("former");
  Write("");
  EXPECT_TRUE(ReadText());
  EXPECT_FALSE(param_.has_name());
}

TEST_F(TextReader, TakesCarriageReturnsForBlanks) {
  Write("name: 'n'\r\ninput_dim: 3\r\n");
  EXPECT_TRUE(ReadText());
  EXPECT_EQ(3, param_.input_dim(0));
}

TEST_F(TextReader, ReturnsFalseForBadText) {
  for (const char* text :
       {"nonsense", "name: ", "layers {", "input_dim: 3.5", "layers { type: NO }",
        "layers { type: 30 }", "input_dim: 99999999999", "\xff\xfe"}) {
    Write(text);
    EXPECT_FALSE(ReadText()) << text;
  }
}

TEST_F(TextReader, ReturnsFalseForEachTruncationInsideALayer) {
  const std::string text = "layers { name: 'c' convolution_param { num_output: 2 } }";
  for (std::size_t length = 8; length < text.size(); ++length) {
    Write(text.substr(0, length));
    EXPECT_FALSE(ReadText()) << text.substr(0, length);
  }
  Write(text);
  EXPECT_TRUE(ReadText());
}

TEST_F(TextReader, ReturnsFalseForDeepNestingWithoutRecursing) {
  std::string text;
  for (int i = 0; i < 1000000; ++i) {
    text += "layers{layer{";
  }
  Write(text);
  EXPECT_FALSE(ReadText());
  Write("layers " + std::string(1000000, '['));
  EXPECT_FALSE(ReadText());
  Write("layers " + std::string(1000000, '<'));
  EXPECT_FALSE(ReadText());
}

TEST_F(TextReader, ReadsNumbersWithAPointInAnyLocale) {
  Write("layers { dropout_param { dropout_ratio: 0.75 } }");
  const ozna_test::GermanLocale locale;
  ASSERT_TRUE(locale.hasComma()) << "is the package locales there?";
  ASSERT_TRUE(ReadText());
  EXPECT_EQ(0.75F, param_.layers(0).dropout_param().dropout_ratio());
}

TEST_F(TextReaderDeathTest, EndsForAFileThatIsNotThere) {
  EXPECT_DEATH(ReadText(), "Check failed: fd != -1 \\(-1 vs. -1\\) File not found: " + path_);
}

TEST_F(TextReaderDeathTest, EndsForAFolder) {
  EXPECT_DEATH(ReadProtoFromTextFile("/", &param_), "File not found: /");
  EXPECT_DEATH(ReadProtoFromBinaryFile("/", &param_), "File not found: /");
}

TEST_F(BinaryReader, ReadsWhatWasSerialised) {
  NetParameter written = caffe_test::ParseNet(
      "name: 'n' layers { name: 'l' blobs { num: 1 channels: 1 height: 1 width: 2 "
      "data: 1.5 data: -2 } }");
  Write(written.SerializeAsString());
  ASSERT_TRUE(ReadBinary());
  EXPECT_EQ(written.SerializeAsString(), param_.SerializeAsString());
}

TEST_F(BinaryReader, TakesAnEmptyFileForAnEmptyMessage) {
  Write("");
  EXPECT_TRUE(ReadBinary());
  EXPECT_EQ(0, param_.layers_size());
}

TEST_F(BinaryReader, ReturnsFalseForEachTruncationInsideTheOneField) {
  NetParameter written =
      caffe_test::ParseNet("layers { name: 'layer' blobs { num: 1 data: 1 data: 2 } }");
  const std::string bytes = written.SerializeAsString();
  for (std::size_t length = 1; length < bytes.size(); ++length) {
    Write(bytes.substr(0, length));
    EXPECT_FALSE(ReadBinary()) << length;
  }
}

TEST_F(BinaryReader, ReturnsFalseForBytesBehindTheMessage) {
  // A zero byte is no field, and 0x9c 0x06 ends a group that was never begun. A block of the disk
  // that was never written reads as zeros.
  for (const std::string& tail : {std::string(1, '\0'), std::string(100, '\0'),
                                  std::string("\x9c\x06"), std::string("\x9c\x06\x28\x01")}) {
    Write(std::string("\x0a\x01n") + tail);
    EXPECT_FALSE(ReadBinary());
  }
}

TEST_F(BinaryReader, SurvivesEveryFlippedBit) {
  const std::string bytes =
      caffe_test::ParseNet(
          "name: 'n' input: 'x' input_dim: 1 layers { name: 'layer' type: RELU blobs { num: 1 "
          "channels: 2 data: 1 data: 2 } }")
          .SerializeAsString();
  int refused = 0;
  for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
    std::string flipped = bytes;
    flipped[bit / 8] ^= static_cast<char>(1 << (bit % 8));
    Write(flipped);
    refused += !ReadBinary();
  }
  EXPECT_GT(refused, 0);
}

TEST_F(BinaryReader, ReturnsFalseForDeepGroupsWithoutRecursing) {
  // Tag 0x9b 0x06 starts a group of the unknown field 99.
  std::string bytes;
  for (int i = 0; i < 200000; ++i) {
    bytes += "\x9b\x06";
  }
  Write(bytes);
  EXPECT_FALSE(ReadBinary());
}

TEST_F(BinaryReader, WarnsOfFilesAboveHalfTheLimit) {
  // Sparse files: a first byte that no message starts with, then a hole.
  Write(std::string(1, '\0'));
  ASSERT_EQ(0, truncate(path_.c_str(), 536870912));
  EXPECT_EQ("", caffe_test::CapturedStderr([&] { EXPECT_FALSE(ReadBinary()); }));
  ASSERT_EQ(0, truncate(path_.c_str(), 536870913));
  const std::string log = caffe_test::CapturedStderr([&] { EXPECT_FALSE(ReadBinary()); });
  EXPECT_EQ(1, caffe_test::CountOf("Reading dangerously large protocol message", log)) << log;
  EXPECT_NE(std::string::npos, log.find("536870913"));
}

// Feeds count bytes through a named pipe, so that a file at the limit needs neither disk nor
// memory: the two bytes of "force_backward: true", again and again.
bool ReadFromPipe(const std::string& path, std::int64_t count, NetParameter* param) {
  EXPECT_EQ(0, mkfifo(path.c_str(), 0600));
  std::thread writer([&] {
    const int fd = open(path.c_str(), O_WRONLY);
    std::string chunk;
    for (int i = 0; i < 1 << 16; ++i) {
      chunk += "\x28\x01";
    }
    while (count > 0) {
      const std::size_t size = std::min<std::int64_t>(count, chunk.size());
      const ssize_t written = write(fd, chunk.data(), size);
      if (written <= 0) {
        break;
      }
      count -= written;
    }
    close(fd);
  });
  // The reader may stop early, and then the writer must get an error in place of a signal.
  signal(SIGPIPE, SIG_IGN);
  const bool parsed = ReadProtoFromBinaryFile(path.c_str(), param);
  writer.join();
  std::remove(path.c_str());
  return parsed;
}

TEST_F(BinaryReader, StopsAt1073741824Bytes) {
  EXPECT_TRUE(ReadFromPipe(path_, 1073741824, &param_));
  EXPECT_TRUE(param_.force_backward());
  EXPECT_FALSE(ReadFromPipe(path_, 1073741824 + 2, &param_));
}

TEST_F(BinaryReaderDeathTest, EndsForAFileThatIsNotThere) {
  EXPECT_DEATH(ReadBinary(), "Check failed: fd != -1 \\(-1 vs. -1\\) File not found: " + path_);
}

}  // namespace
}  // namespace caffe
