// Pictures that move, portable arbitrary maps, and what is known but not read.

#include <cstddef>
#include <cstdint>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/photograph/number_bytes.h"
#include "tests/tools/photograph/sample_face.h"
#include "tests/tools/program.h"
#include "tools/photograph/animation.h"

namespace ozna_test {
namespace {

class MoreFormats : public SampleFaceTest {};

// A GIF of two frames of 8 by 8 pixels, of which the first is red but for its blue first pixel.
// Codes of nine bits that each stand for one pixel, with a code of clearing before each.
std::string gif() {
  std::string file("GIF89a\x08\0\x08\0\x80\0\0", 13);
  file += std::string("\xFF\0\0\0\0\xFF", 6);  // Red, blue.
  for (int frame = 0; frame < 2; ++frame) {
    file += std::string("\x21\xF9\x04\0\x0A\0\0\0", 8);
    file += std::string("\x2C\0\0\0\0\x08\0\x08\0\0\x08", 11);
    std::string codes;
    unsigned buffer = 0;
    int bits = 0;
    const auto code = [&](unsigned value) {
      buffer |= value << bits;
      for (bits += 9; bits >= 8; bits -= 8, buffer >>= 8) codes += static_cast<char>(buffer & 255);
    };
    for (int i = 0; i < 64; ++i) {
      code(256);
      code(i == 0 || frame == 1 ? 1 : 0);
    }
    code(257);
    if (bits > 0) codes += static_cast<char>(buffer);
    file += static_cast<char>(codes.size());
    file += codes + '\0';
  }
  return file + ';';
}

std::size_t framesIn(const std::string& file) {
  return oznatool::framesOf(reinterpret_cast<const unsigned char*>(file.data()), file.size());
}

TEST_F(MoreFormats, FirstFrameOfAGifIsTaken) {
  EXPECT_EQ(framesIn(gif()), 2U);
  for (std::size_t size = 0; size < gif().size(); ++size) {
    EXPECT_LE(framesIn(gif().substr(0, size)), 2U);
  }
  writeFile(at("a.gif"), gif());
  const Outcome run = runOzna({"annotate", "--json", "-o", at("a.png"), at("a.gif")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.err, "ozna: " + at("a.gif") + ": has 2 frames, of which the first was taken\n");
  const cv::Mat seen = cv::imread(at("a.png"));
  ASSERT_EQ(seen.size(), cv::Size(8, 8));
  EXPECT_EQ(seen.at<cv::Vec3b>(0, 0), cv::Vec3b(255, 0, 0));
  EXPECT_EQ(seen.at<cv::Vec3b>(7, 7), cv::Vec3b(0, 0, 255));
  writeFile(at("cut.gif"), gif().substr(0, 60));
  expectFailure(runOzna({"detect", at("cut.gif")}), 1, "cut.gif: is damaged");
}

// An animated WebP file of still ones.
std::string animatedWebp(const std::vector<cv::Mat>& frames) {
  const auto chunk = [](const std::string& name, const std::string& content) {
    std::string bytes = name;
    put<std::uint32_t>(bytes, static_cast<std::uint32_t>(content.size()));
    return bytes + content + std::string(content.size() % 2, '\0');
  };
  const auto three = [](std::string& bytes, int value) {
    for (int i = 0; i < 3; ++i) bytes += static_cast<char>(value >> (8 * i) & 255);
  };
  std::string head("\x02\0\0\0", 4);
  three(head, frames[0].cols - 1);
  three(head, frames[0].rows - 1);
  std::string body = "WEBP" + chunk("VP8X", head) + chunk("ANIM", std::string(6, '\0'));
  for (const cv::Mat& frame : frames) {
    std::string place(6, '\0');
    three(place, frame.cols - 1);
    three(place, frame.rows - 1);
    three(place, 100);
    place += '\0';
    // Behind the header of a still file comes its one chunk of pixels.
    body += chunk("ANMF", place + encoded(".webp", frame).substr(12));
  }
  std::string file = "RIFF";
  put<std::uint32_t>(file, static_cast<std::uint32_t>(body.size()));
  return file + body;
}

TEST_F(MoreFormats, FirstFrameOfAnAnimatedWebpIsTaken) {
  const cv::Mat red(30, 40, CV_8UC3, cv::Scalar(0, 0, 250));
  const cv::Mat blue(30, 40, CV_8UC3, cv::Scalar(250, 0, 0));
  writeFile(at("a.webp"), animatedWebp({red, blue, red}));
  const Outcome run = runOzna({"annotate", "--json", "-o", at("a.png"), at("a.webp")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(run.err, "ozna: " + at("a.webp") + ": has 3 frames, of which the first was taken\n");
  const cv::Mat seen = cv::imread(at("a.png"));
  ASSERT_EQ(seen.size(), cv::Size(40, 30));
  EXPECT_GT(seen.at<cv::Vec3b>(15, 20)[2], 230);
  EXPECT_LT(seen.at<cv::Vec3b>(15, 20)[0], 20);
}

TEST_F(MoreFormats, PortableArbitraryMapsAreRead) {
  writeFile(at("a.pam"), "P7\nWIDTH 40\nHEIGHT 30\nDEPTH 3\nMAXVAL 255\nTUPLTYPE RGB\nENDHDR\n" +
                             std::string(3 * 40 * 30, 'x'));
  const Outcome run = runOzna({"detect", "--json", at("a.pam")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(parsed(run.out)["width"], 40);
}

TEST_F(MoreFormats, KnownButNotReadIsNotCalledDamaged) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"8BPS\0\1", "is a Photoshop file, which is not supported"},
      {"%PDF-1.4", "is a PDF document, which is not supported"},
      {std::string("\0\0\0\x20"
                   "ftypqt  \0\0\0\0",
                   16),
       "is a film, which is not supported"},
      {"\xFF\xD8\xFF\xE0 half", "is damaged"},
      {"\x89PNG half", "is damaged"},
      {"words", "is in no known image format"},
  };
  for (const auto& [bytes, reason] : cases) {
    writeFile(at("a.jpg"), bytes);
    const Outcome run = runOzna({"detect", "--json", at("a.jpg")});
    EXPECT_EQ(run.err, "ozna: " + at("a.jpg") + ": " + reason + "\n");
  }
}

}  // namespace
}  // namespace ozna_test
