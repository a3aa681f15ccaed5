// The number of frames in files of moving pictures.

#include "tools/photograph/animation.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/tools/photograph/number_bytes.h"

namespace ozna_test {
namespace {

const unsigned char* startOf(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}
std::size_t framesOf(const std::string& file) {
  return oznatool::framesOf(startOf(file), file.size());
}

// Two colours for all frames, an extension of two blocks, and frames with a table of their own.
std::string gifOf(int frames) {
  std::string file = std::string("GIF89a\1\0\1\0\x80\0\0", 13) + "abcdef";
  file += std::string("\x21\xFF\x03xyz\x01!\0", 9);
  for (int i = 0; i < frames; ++i) {
    file += std::string("\x2C\0\0\0\0\1\0\1\0\x80", 10) + "ABCDEF" + std::string("\2\2,;\0", 5);
  }
  return file + ";";
}

std::string webpOf(int frames, unsigned flags = 2) {
  std::string chunks("VP8X\x0A\0\0\0", 8);
  chunks += static_cast<char>(flags) + std::string(9, '\0');
  for (int i = 0; i < frames; ++i) {
    chunks += std::string("ANMF\x03\0\0\0abc\0", 12);  // Of odd length, so that one byte fills up.
  }
  std::string file = "RIFF";
  put<std::uint32_t>(file, static_cast<std::uint32_t>(chunks.size() + 4));
  return file + "WEBP" + chunks;
}

TEST(Animation, CountsTheFramesOfAGif) {
  for (const int frames : {0, 1, 2, 7}) {
    EXPECT_EQ(framesOf(gifOf(frames)), static_cast<std::size_t>(frames));
  }
  EXPECT_EQ(framesOf("GIF87a" + gifOf(3).substr(6)), 3U);
}

TEST(Animation, CountsTheFramesOfAWebp) {
  EXPECT_EQ(framesOf(webpOf(5)), 5U);
  EXPECT_TRUE(oznatool::isAnimatedWebp(startOf(webpOf(0)), webpOf(0).size()));
  // One that does not say of itself that it moves.
  EXPECT_EQ(framesOf(webpOf(5, 0)), 0U);
}

TEST(Animation, IsNoneInOtherFilesAndShortOnes) {
  EXPECT_EQ(framesOf(""), 0U);
  EXPECT_EQ(framesOf("\x89PNG and more than thirteen bytes"), 0U);
  const std::string gif = gifOf(2);
  EXPECT_FALSE(oznatool::isGif(startOf(gif), 12));
  EXPECT_TRUE(oznatool::isGif(startOf(gif), 13));
}

TEST(Animation, DamageEndsTheCountWithinTheFile) {
  for (const std::string& whole : {gifOf(3), webpOf(3)}) {
    for (std::size_t size = 0; size < whole.size(); ++size) {
      // A copy of its own, so that a read behind its end is found.
      const std::string cut(whole.data(), size);
      EXPECT_LE(framesOf(cut), 3U) << size;
    }
  }
}

}  // namespace
}  // namespace ozna_test
