// Photographs' files as bytes.

#include "tools/photograph/file_bytes.h"

#include "tests/tools/program.h"
#include "tools/photograph/photograph_failure.h"

namespace ozna_test {
namespace {

class FileBytesTest : public ProgramTest {
 protected:
  // Kind and reason of the failure.
  std::string refusalOf(const std::string& name, std::int64_t largest) const {
    try {
      oznatool::readFileBytes(at(name), largest);
      return "taken";
    } catch (const oznatool::PhotographFailure& failure) {
      return std::string(nameOf(failure.kind())) + ": " + failure.reason();
    }
  }
};

TEST_F(FileBytesTest, AreThoseOfTheFileWithItsStamp) {
  const std::string content("a\0b\n\xFF", 5);
  writeFile(at("a"), content);
  const auto [bytes, stamp] = oznatool::readFileBytes(at("a"), 5);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), content);
  ASSERT_TRUE(stamp);
  EXPECT_EQ(stamp->bytes, 5);
}

TEST_F(FileBytesTest, AreReadInSeveralPieces) {
  std::string content(3 << 20, 'x');
  for (std::size_t i = 0; i < content.size(); i += 4099) content[i] = static_cast<char>(i);
  writeFile(at("a"), content);
  const std::vector<unsigned char> bytes = oznatool::readFileBytes(at("a"), 1 << 30).bytes;
  EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), content.begin(), content.end(),
                         [](unsigned char a, char b) { return static_cast<char>(a) == b; }));
}

TEST_F(FileBytesTest, OfUnsuitableFilesAreRefused) {
  writeFile(at("empty"), "");
  writeFile(at("large"), std::string((2 << 20) + 1, 'x'));
  std::filesystem::create_directory(at("folder"));
  EXPECT_EQ(refusalOf("empty", 100), "format: is empty");
  EXPECT_EQ(refusalOf("large", 2 << 20), "memory: is a file of more than 2 MiB");
  EXPECT_EQ(refusalOf("large", (2 << 20) + 1), "taken");
  EXPECT_EQ(refusalOf("missing", 100), "read: No such file or directory");
  EXPECT_EQ(refusalOf("folder", 100), "read: is a directory; -r looks into it");
}

}  // namespace
}  // namespace ozna_test
