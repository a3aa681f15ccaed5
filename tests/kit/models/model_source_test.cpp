// Where model files come from.

#include "kit/models/model_source.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "kit/error.h"
#include "tests/changing_file.h"
#include "tests/kit/models/refusal.h"
#include "tests/temporary_folder.h"

namespace kit {
namespace {

using kit_test::expectWords;
using kit_test::refusalOf;

class DirectorySourceTest : public testing::Test {
 protected:
  const ozna_test::TemporaryFolder folder_;
  const std::string root_ = folder_.path();
};

TEST_F(DirectorySourceTest, ReadsWholeFiles) {
  const std::string content("a\0b\n", 4);
  std::ofstream(root_ + "/file", std::ios::binary) << content;
  for (const std::string& directory : {root_, root_ + "/"}) {
    const auto source = directorySource(directory);
    EXPECT_EQ(source->read("file", 4).view(), content);
    EXPECT_EQ(source->labelOf("file"), root_ + "/file");
    EXPECT_TRUE(source->has("file"));
    EXPECT_FALSE(source->has("other"));
  }
}

TEST_F(DirectorySourceTest, RefusesWhatIsTooLarge) {
  std::ofstream(root_ + "/file") << "abcde";
  expectWords(refusalOf(OZNAKIT_BAD_MODEL, [&] { directorySource(root_)->read("file", 4); }),
              "/file: expected a file of at most 4 bytes, found 5.");
}

TEST_F(DirectorySourceTest, RefusesWhatIsNoRegularFileAndDoesNotWaitForIt) {
  ASSERT_EQ(mkfifo((root_ + "/pipe").c_str(), 0600), 0);
  std::filesystem::create_directory(root_ + "/folder");
  std::filesystem::create_symlink("/dev/zero", root_ + "/device");
  const auto source = directorySource(root_);
  const auto refusal = [&](const std::string& name) {
    return refusalOf(OZNAKIT_NO_MODEL, [&] { source->read(name, 100); });
  };
  expectWords(refusal("pipe"), "/pipe: expected a regular file, found a pipe, socket or device.");
  expectWords(refusal("device"), "expected a regular file");
  expectWords(refusal("folder"), "found a directory.");
  expectWords(refusal("missing"), "cannot be read: No such file or directory.");
}

TEST_F(DirectorySourceTest, DoesNotWaitForAFileThatBecomesAPipe) {
  std::ofstream(root_ + "/file") << "weights";
  const auto source = directorySource(root_);
  ozna_test::lookWhileItChanges(root_ + "/file", [&] {
    try {
      return source->read("file", 100).view() == "weights";
    } catch (const Error&) {
      return false;
    }
  });
}

std::string rest(ModelFile& file) {
  std::string bytes(100, '\0');
  bytes.resize(file.read(bytes.data(), bytes.size()));
  return bytes;
}

TEST_F(DirectorySourceTest, ReadsWhatAFileHasAndTellsWhatItHadWhenItWasOpened) {
  std::ofstream(root_ + "/file") << "weights";
  const auto source = directorySource(root_);
  EXPECT_THROW(source->open("file", 6), Error);
  for (const std::string later : {"weights and more", "we"}) {
    std::ofstream(root_ + "/file") << "weights";
    const auto file = source->open("file", 7);
    char first[1];
    ASSERT_EQ(file->read(first, 1), 1U);
    EXPECT_EQ(first[0], 'w');
    std::ofstream(root_ + "/file") << later;
    EXPECT_EQ(file->size(), 7U);
    EXPECT_EQ(rest(*file), later.substr(1));
    EXPECT_EQ(file->read(first, 1), 0U);
  }
}

TEST(MemorySource, GivesTheBytesThemselves) {
  const std::string bytes = "weights";
  const oznakit_file files[] = {{"a", bytes.data(), bytes.size()}, {"none", nullptr, 0}};
  const auto source = memorySource(files, 2);
  EXPECT_EQ(source->read("a", 7).view().data(), bytes.data());
  EXPECT_EQ(source->read("a", 7).view(), "weights");
  EXPECT_EQ(rest(*source->open("a", 7)), "weights");
  EXPECT_EQ(source->read("none", 7).view(), "");
  EXPECT_EQ(rest(*source->open("none", 7)), "");
  expectWords(refusalOf(OZNAKIT_BAD_MODEL, [&] { source->open("a", 6); }),
              "expected a file of at most 6 bytes, found 7.");
}

TEST(MemorySource, RefusesNullsAndDoubles) {
  const oznakit_file no_name = {nullptr, "x", 1};
  expectWords(refusalOf(OZNAKIT_BAD_ARGUMENT, [&] { memorySource(&no_name, 1); }), "null pointer");
  const oznakit_file no_bytes = {"a", nullptr, 1};
  expectWords(refusalOf(OZNAKIT_BAD_ARGUMENT, [&] { memorySource(&no_bytes, 1); }), "null pointer");
  const oznakit_file doubles[] = {{"a", "x", 1}, {"a", "y", 1}};
  expectWords(refusalOf(OZNAKIT_BAD_ARGUMENT, [&] { memorySource(doubles, 2); }), "\"a\" twice");
}

}  // namespace
}  // namespace kit
