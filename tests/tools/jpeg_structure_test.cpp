// Whether a JPEG file reaches its end marker.

#include "tools/jpeg_structure.h"

#include <gtest/gtest.h>

#include <string>

namespace oznatool {
namespace {

bool isCutShort(const std::string& bytes) {
  return isJpegCutShort(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

const std::string kStart("\xFF\xD8", 2);
const std::string kEnd("\xFF\xD9", 2);
// A segment of four bytes that hold an end marker, as an embedded picture does.
const std::string kSegment("\xFF\xE1\0\x06\xFF\xD9zz", 8);
// The header of a scan, then data with a stuffed 0xFF byte and a restart marker.
const std::string kScan(
    "\xFF\xDA\0\x03x"
    "ab\xFF\0cd\xFF\xD0"
    "ef",
    15);

TEST(JpegStructure, WholeFileIsNotCutShort) {
  EXPECT_FALSE(isCutShort(kStart + kSegment + kScan + kEnd));
  EXPECT_FALSE(
      isCutShort(kStart + kSegment + kScan + "\xFF" + kEnd));  // Fill byte before the marker.
  EXPECT_FALSE(isCutShort(kStart + kSegment + kScan + kScan + kEnd + "whatever follows"));
}

TEST(JpegStructure, EveryShorterFileIsCutShort) {
  const std::string whole = kStart + kSegment + kScan + kEnd;
  for (size_t size = 3; size < whole.size(); ++size) {
    EXPECT_TRUE(isCutShort(whole.substr(0, size))) << size;
  }
}

TEST(JpegStructure, OtherFilesAreNoConcern) {
  EXPECT_FALSE(isCutShort(""));
  EXPECT_FALSE(isCutShort("\xFF"));
  EXPECT_FALSE(isCutShort("\x89PNG"));
}

}  // namespace
}  // namespace oznatool
