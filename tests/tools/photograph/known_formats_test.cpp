// What a file is that no decoder reads.

#include "tools/photograph/known_formats.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string reasonOf(const std::string& file) {
  return oznatool::reasonWithoutHeader(reinterpret_cast<const unsigned char*>(file.data()),
                                       file.size());
}

TEST(KnownFormats, NameWhatIsNotSupported) {
  EXPECT_EQ(reasonOf("%PDF-1.7"), "is a PDF document, which is not supported");
  EXPECT_EQ(reasonOf("8BPS"), "is a Photoshop file, which is not supported");
  EXPECT_EQ(reasonOf(std::string("\0\0\0\x0CJXL ", 8)),
            "is a JPEG XL file, which is not supported");
  EXPECT_EQ(reasonOf(std::string("\0\0\0 ftypqt  ", 12)), "is a film, which is not supported");
  EXPECT_EQ(reasonOf("RIFF....AVI LIST"), "is a film, which is not supported");
}

TEST(KnownFormats, CallWhatTheProgramReadsDamaged) {
  EXPECT_EQ(reasonOf("\xFF\xD8\xFF"), "is damaged");
  EXPECT_EQ(reasonOf("\x89PNG"), "is damaged");
  EXPECT_EQ(reasonOf(std::string("MM\0*", 4)), "is damaged");
  EXPECT_EQ(reasonOf("RIFF....WEBPVP8 "), "is damaged");
  EXPECT_EQ(reasonOf("....ftypheic"), "is damaged");
}

TEST(KnownFormats, KnowNothingElse) {
  EXPECT_EQ(reasonOf(""), "is in no known image format");
  EXPECT_EQ(reasonOf("a text"), "is in no known image format");
  // Marks that are cut, or stand at another place.
  EXPECT_EQ(reasonOf("%PD"), "is in no known image format");
  EXPECT_EQ(reasonOf(" %PDF"), "is in no known image format");
  EXPECT_EQ(reasonOf("RIFF....AVI"), "is in no known image format");
}

}  // namespace
