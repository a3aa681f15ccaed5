// The decoder of PNG files.

#include "tools/photograph/png_photograph.h"

#include <cstddef>
#include <opencv2/core.hpp>

#include "tests/tools/photograph/number_bytes.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

// A PNG chunk with its check sum, by the algorithm of the format's Annex D.
std::string chunk(const std::string& name, const std::string& data) {
  std::uint32_t check = 0xFFFFFFFFU;
  for (const char byte : name + data) {
    check ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) {
      check = (check & 1) != 0 ? 0xEDB88320U ^ (check >> 1) : check >> 1;
    }
  }
  return bigEndian(static_cast<std::uint32_t>(data.size())) + name + data + bigEndian(~check);
}

// The head of a PNG picture of 8-bit grey.
std::string pngHead(std::uint32_t width, std::uint32_t height) {
  return chunk("IHDR", bigEndian(width) + bigEndian(height) + std::string("\x08\0\0\0\0", 5));
}

class PngPhotograph : public ProgramTest {
 protected:
  Outcome detect(const std::string& name, const std::string& bytes) const {
    writeFile(at(name), bytes);
    return runOzna({"detect", "--json", "--memory", "64", at(name)});
  }
};

TEST_F(PngPhotograph, OfTwoHeadsInAPngFileTheDecodersCounts) {
  const std::string large = encoded(".png", cv::Mat(6000, 6000, CV_8UC1, cv::Scalar(90)));
  const std::size_t end = large.size() - 12;  // The last chunk has no data.
  const Outcome run = detect("two.png", large.substr(0, end) + pngHead(10, 10) + large.substr(end));
  expectFailure(run, 1, "two.png: needs 104 MiB to be decoded");
  EXPECT_EQ(parsed(run.out)["error"]["kind"], "memory");
  // Both heads before the pixels.
  const std::size_t pixels = large.find("IDAT") - 4;
  const Outcome early =
      detect("early.png", large.substr(0, pixels) + pngHead(10, 10) + large.substr(pixels));
  expectFailure(early, 1, "early.png: needs 104 MiB to be decoded");
}

}  // namespace
}  // namespace ozna_test
