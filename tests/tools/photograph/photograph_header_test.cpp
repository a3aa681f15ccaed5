// Files whose parts claim different sizes: the memory is set aside for one of them, and the decoder
// must not take another.

#include <cstddef>
#include <opencv2/core.hpp>

#include "tests/tools/photograph/number_bytes.h"
#include "tests/tools/pictures.h"
#include "tests/tools/program.h"
#include "tests/tools/under_sanitizer.h"

namespace ozna_test {
namespace {

std::string littleEndian(std::uint32_t number, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(number >> (8 * i));
  return text;
}

class PhotographClaims : public ProgramTest {
 protected:
  Outcome detect(const std::string& name, const std::string& bytes) const {
    writeFile(at(name), bytes);
    return runOzna({"detect", "--json", "--memory", "64", at(name)});
  }
};

TEST_F(PhotographClaims, BoxThatClaimsLessThanTheCodestreamIsRefused) {
  std::string bytes = encoded(".jp2", cv::Mat(6000, 6000, CV_8UC3, cv::Scalar(90, 90, 90)));
  const std::size_t box = bytes.find("ihdr");
  ASSERT_NE(box, std::string::npos);
  bytes.replace(box + 4, 8, bigEndian(10) + bigEndian(10));
  expectFailure(detect("small.jp2", bytes), 1, "small.jp2: ");
}

TEST_F(PhotographClaims, ItemThatClaimsLessThanItsPictureIsRefused) {
  std::string bytes = encodedHeic(cv::Mat(2048, 2048, CV_8UC3, cv::Scalar(90, 90, 90)));
  const std::size_t box = bytes.find("ispe");
  ASSERT_NE(box, std::string::npos);
  bytes.replace(box + 8, 8, bigEndian(64) + bigEndian(64));
  expectFailure(detect("small.heic", bytes), 1, "small.heic: ");
}

// The header reader sees 10 by 10 in each of these, and the decoder, which ends comments and
// headers elsewhere, 12000 by 12000. It is stopped where it makes room for them, before the room is
// taken.
TEST_F(PhotographClaims, DecoderThatReadsAnotherSizeGetsNoMemoryForIt) {
  const std::string pixels(300, '\x5A');
  writeFile(at("comment.ppm"), "P6\n#\r12000 12000 255\n10 10 255\n" + pixels);
  writeFile(at("end.pam"),
            "P7\nWIDTH 12000\nHEIGHT 12000\nDEPTH 3\nMAXVAL 255\nTUPLTYPE RGB\nENDHDR \n"
            "WIDTH 10\nHEIGHT 10\n" +
                pixels);
  const std::string limit = kUnderSanitizer ? "" : "ulimit -v 500000; ";
  for (const char* const name : {"comment.ppm", "end.pam"}) {
    const Outcome run =
        runOznaUnder({"env", "OPENBLAS_NUM_THREADS=1", "sh", "-c", limit + "exec \"$@\"", "sh"},
                     {"detect", "--json", "--memory", "64", at(name)});
    expectFailure(run, 1, std::string(name) + ": is damaged");
    EXPECT_EQ(parsed(run.out)["error"]["kind"], "format");
  }
}

// A program that asked for the picture that claims to be the main one would read 10 by 10; the
// decoder takes the first.
TEST_F(PhotographClaims, OfTwoPicturesInATiffFileTheFirstCounts) {
  const auto entry = [](std::uint16_t tag, std::uint32_t value) {
    return littleEndian(tag, 2) + littleEndian(4, 2) + littleEndian(1, 4) + littleEndian(value, 4);
  };
  constexpr std::uint32_t kFirst = 24;  // Behind sixteen pixels.
  constexpr std::uint32_t kSecond = kFirst + 2 + 11 * 12 + 4;
  const auto directory = [&](std::uint32_t kind, std::uint32_t side) {
    const std::string entries = entry(254, kind) + entry(256, side) + entry(257, side) +
                                entry(258, 8) + entry(259, 1) + entry(262, 1) + entry(273, 8) +
                                entry(277, 1) + entry(278, side) + entry(279, 16) +
                                entry(330, kSecond);
    return littleEndian(11, 2) + entries + littleEndian(0, 4);
  };
  const Outcome run = detect("two.tif", "II*" + std::string(1, '\0') + littleEndian(kFirst, 4) +
                                            std::string(16, '\x5A') + directory(/*kind=*/1, 20000) +
                                            directory(/*kind=*/0, 10));
  expectFailure(run, 1, "two.tif: needs 4197 MiB to be decoded");
}

}  // namespace
}  // namespace ozna_test
