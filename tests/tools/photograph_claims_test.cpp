// Files whose parts tell different sizes: the memory is set aside for one of them, and the decoder must
// not take another.

#include <opencv2/core.hpp>

#include "tests/tools/pictures.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

std::string bigEndian(std::uint32_t number) {
  std::string bytes;
  for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
  return bytes;
}

// A PNG chunk with its check sum, by the algorithm of the format's Annex D.
std::string chunk(const std::string& name, const std::string& data) {
  std::uint32_t check = 0xFFFFFFFFU;
  for (const char byte : name + data) {
    check ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit)
      check = (check & 1) != 0 ? 0xEDB88320U ^ (check >> 1) : check >> 1;
  }
  return bigEndian(static_cast<std::uint32_t>(data.size())) + name + data + bigEndian(~check);
}

// The head of a PNG picture of 8-bit grey.
std::string pngHead(std::uint32_t width, std::uint32_t height) {
  return chunk("IHDR", bigEndian(width) + bigEndian(height) + std::string("\x08\0\0\0\0", 5));
}

class PhotographClaims : public ProgramTest {
 protected:
  Outcome detect(const std::string& name, const std::string& bytes) const {
    writeFile(at(name), bytes);
    return runOzna({"detect", "--json", "--memory", "64", at(name)});
  }
};

TEST_F(PhotographClaims, OfTwoHeadsInAPngFileTheDecodersCounts) {
  const std::string large = encoded(".png", cv::Mat(6000, 6000, CV_8UC1, cv::Scalar(90)));
  const size_t end = large.size() - 12;  // The last chunk has no data.
  const Outcome run = detect("two.png", large.substr(0, end) + pngHead(10, 10) + large.substr(end));
  expectFailure(run, 1, "two.png: needs 104 MiB to be decoded");
  EXPECT_EQ(parsed(run.out)["error"]["kind"], "memory");
  // Both heads before the pixels.
  const size_t pixels = large.find("IDAT") - 4;
  const Outcome early =
      detect("early.png", large.substr(0, pixels) + pngHead(10, 10) + large.substr(pixels));
  expectFailure(early, 1, "early.png: needs 104 MiB to be decoded");
}

TEST_F(PhotographClaims, BoxThatTellsLessThanTheCodestreamIsRefused) {
  std::string bytes = encoded(".jp2", cv::Mat(6000, 6000, CV_8UC3, cv::Scalar(90, 90, 90)));
  const size_t box = bytes.find("ihdr");
  ASSERT_NE(box, std::string::npos);
  bytes.replace(box + 4, 8, bigEndian(10) + bigEndian(10));
  expectFailure(detect("small.jp2", bytes), 1, "small.jp2: ");
}

TEST_F(PhotographClaims, ItemThatTellsLessThanItsPictureIsRefused) {
  std::string bytes = encodedHeic(cv::Mat(2048, 2048, CV_8UC3, cv::Scalar(90, 90, 90)));
  const size_t box = bytes.find("ispe");
  ASSERT_NE(box, std::string::npos);
  bytes.replace(box + 8, 8, bigEndian(64) + bigEndian(64));
  expectFailure(detect("small.heic", bytes), 1, "small.heic: ");
}

}  // namespace
}  // namespace ozna_test
