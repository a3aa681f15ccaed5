// Photographs that can be read, in all their forms, and some that cannot.

#include <cstddef>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

// Most tests give a box: photographs are then read and written without any cascade.
class Photographs : public ProgramTest {
 protected:
  Outcome align(const std::vector<std::string>& arguments) const {
    std::vector<std::string> all = {"align", "--json",   "--models", makeLandmarkModels(),
                                    "--box", "2,2,18,18"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return runOzna(all);
  }

  // The picture that the program sees in a file, apart from the drawing in the box.
  cv::Mat seen(const std::string& path) const {
    const std::string out = at("seen.png");
    const Outcome run = align({"--annotate", out, path});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    return cv::imread(out);
  }
};

// An APP1 segment whose only entry is the orientation.
std::string orientationSegment(int orientation) {
  std::string exif("Exif\0\0", 6);
  exif += std::string("II\x2A\0\x08\0\0\0", 8);        // Little-endian, directory at byte 8.
  exif += std::string("\x01\0", 2);                    // One entry:
  exif += std::string("\x12\x01\x03\0\x01\0\0\0", 8);  // tag 0x0112, 16-bit, one value,
  exif += static_cast<char>(orientation) + std::string(3, '\0');  // the value,
  exif += std::string(4, '\0');                                   // no further directory.
  const std::size_t length = exif.size() + 2;
  return std::string("\xFF\xE1", 2) + static_cast<char>(length >> 8) +
         static_cast<char>(length & 255) + exif;
}

TEST_F(Photographs, AreTurnedUprightByAllEightOrientations) {
  // 96 by 64 pixels as stored, red in its left top corner.
  cv::Mat stored(64, 96, CV_8UC3, cv::Scalar(255, 255, 255));
  cv::rectangle(stored, cv::Rect(0, 0, 32, 32), cv::Scalar(0, 0, 255), cv::FILLED);
  const std::string jpeg = encoded(".jpg", stored);

  // The tag says where the stored first row and first column belong: 1 top left, 2 top right, 3
  // bottom right, 4 bottom left, and with sides exchanged 5 left top, 6 right top, 7 right bottom,
  // 8 left bottom.
  struct Upright {
    int orientation, width, height;
    bool red_at_right, red_at_bottom;
  };
  for (const Upright& upright : {Upright{1, 96, 64, false, false}, Upright{2, 96, 64, true, false},
                                 Upright{3, 96, 64, true, true}, Upright{4, 96, 64, false, true},
                                 Upright{5, 64, 96, false, false}, Upright{6, 64, 96, true, false},
                                 Upright{7, 64, 96, true, true}, Upright{8, 64, 96, false, true}}) {
    SCOPED_TRACE(upright.orientation);
    const std::string path = at("turned.jpg");
    writeFile(path, jpeg.substr(0, 2) + orientationSegment(upright.orientation) + jpeg.substr(2));
    const Outcome run = align({path});
    const nlohmann::ordered_json line = parsed(run.out);
    EXPECT_EQ(line["width"], upright.width);
    EXPECT_EQ(line["height"], upright.height);

    const cv::Mat picture = seen(path);
    ASSERT_EQ(picture.size(), cv::Size(upright.width, upright.height));
    // 24 pixels from the corner: inside the red part, outside the box and its drawing.
    for (const bool right : {false, true}) {
      for (const bool bottom : {false, true}) {
        const cv::Vec3b pixel = picture.at<cv::Vec3b>(bottom ? upright.height - 25 : 24,
                                                      right ? upright.width - 25 : 24);
        const bool is_red = pixel[2] > 200 && pixel[0] < 60;
        EXPECT_EQ(is_red, right == upright.red_at_right && bottom == upright.red_at_bottom);
      }
    }
  }
}

TEST_F(Photographs, MayBeGrey) {
  const std::string path = at("grey.png");
  writeFile(path, encoded(".png", cv::Mat(30, 40, CV_8UC1, cv::Scalar(77))));
  EXPECT_EQ(seen(path).at<cv::Vec3b>(25, 35), cv::Vec3b(77, 77, 77));
}

TEST_F(Photographs, MayHaveAlphaWhichIsDropped) {
  const std::string path = at("alpha.png");
  writeFile(path, encoded(".png", cv::Mat(30, 40, CV_8UC4, cv::Scalar(10, 20, 30, 0))));
  EXPECT_EQ(seen(path).at<cv::Vec3b>(25, 35), cv::Vec3b(10, 20, 30));
}

TEST_F(Photographs, MayHaveSixteenBits) {
  for (const char* name : {"deep.png", "deep.tiff"}) {
    SCOPED_TRACE(name);
    writeFile(at(name),
              encoded(std::filesystem::path(name).extension().string(),
                      cv::Mat(30, 40, CV_16UC3, cv::Scalar(10 * 257, 20 * 257, 200 * 257))));
    EXPECT_EQ(seen(at(name)).at<cv::Vec3b>(25, 35), cv::Vec3b(10, 20, 200));
  }
}

TEST_F(Photographs, MayBeAPipe) {
  const std::string command =
      "cat '" + makePicture("a.png") + "' | '" OZNA_PROGRAM "' align --json --models '" +
      makeLandmarkModels() + "' --box 2,2,18,18 /dev/stdin > '" + at("out") + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(parsed(readFile(at("out")))["width"], 40);
}

TEST_F(Photographs, ThatFailAreReportedAndTheOthersGoOn) {
  const std::string first = makePicture("first.png", 40, 30);
  const std::string missing = at("missing.jpg");
  const std::string empty = at("empty.jpg");
  writeFile(empty, "");
  const std::string folder = at("folder.jpg");
  std::filesystem::create_directory(folder);
  const std::string text = at("text.jpg");
  writeFile(text, "This is no photograph.\n");
  const std::string last = makePicture("last.jpg", 50, 30);

  const Outcome run = align({first, missing, empty, folder, text, last});
  EXPECT_EQ(run.exit_code, 1);
  expectMessagesNameProgram(run);
  const std::vector<std::string> messages = linesOf(run.err);
  ASSERT_EQ(messages.size(), 5U) << run.err;
  EXPECT_EQ(messages[0], "ozna: " + missing + ": No such file or directory");
  EXPECT_EQ(messages[1], "ozna: " + empty + ": is empty");
  EXPECT_EQ(messages[2], "ozna: " + folder + ": is a directory; -r looks into it");
  EXPECT_EQ(messages[3], "ozna: " + text + ": is in no known image format");
  EXPECT_EQ(messages[4], "ozna: 6 photographs, 2 faces; 4 failed");

  // Each has its record, in order; those that were not looked at have no faces, not even none.
  const std::vector<std::string> lines = linesOf(run.out);
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(parsed(lines[0])["path"], first);
  EXPECT_EQ(parsed(lines[5])["path"], last);
  EXPECT_EQ(parsed(lines[5])["width"], 50);
  const std::vector<std::string> kinds = {"read", "format", "read", "format"};
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    const nlohmann::ordered_json line = parsed(lines[i + 1]);
    EXPECT_EQ(line["path"], (std::vector<std::string>{missing, empty, folder, text})[i]);
    EXPECT_EQ(line["error"]["kind"], kinds[i]);
    EXPECT_EQ("ozna: " + line["path"].get<std::string>() + ": " +
                  line["error"]["message"].get<std::string>(),
              messages[i]);
    EXPECT_FALSE(line.contains("faces"));
    EXPECT_FALSE(line.contains("width"));
  }
}

TEST_F(Photographs, CutShortAreReportedInEveryFormat) {
  cv::Mat noise(120, 160, CV_8UC3);
  cv::theRNG().state = 7;
  cv::randu(noise, 0, 256);
  for (const std::string ending : {".png", ".bmp", ".tiff", ".webp", ".jp2", ".ppm"}) {
    SCOPED_TRACE(ending);
    const std::string bytes = encoded(ending, noise);
    const std::string path = at("cut" + ending);
    for (const double part : {0.02, 0.5, 0.95}) {
      SCOPED_TRACE(part);
      writeFile(path, bytes.substr(
                          0, static_cast<std::size_t>(part * static_cast<double>(bytes.size()))));
      const Outcome run = align({path});
      expectFailure(run, 1, "ozna: " + path + ": ");
      EXPECT_EQ(linesOf(run.err).size(), 1U) << run.err;
      EXPECT_EQ(parsed(run.out)["error"]["kind"], "format");
    }
  }
}

TEST_F(Photographs, JpegWithoutItsLastBytesIsReadWithAWarningUnlessTheRunIsStrict) {
  cv::Mat noise(120, 160, CV_8UC3);
  cv::theRNG().state = 7;
  cv::randu(noise, 0, 256);
  const std::string bytes = encoded(".jpg", noise);
  const std::string path = at("cut.jpg");
  writeFile(path, bytes.substr(0, bytes.size() - 200));
  const Outcome run = align({path});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(run.err, "ozna: " + path + ": is cut short: what is missing is searched as grey\n");
  EXPECT_EQ(parsed(run.out)["warnings"].size(), 1U);
  const Outcome strict = runOzna({"detect", "--json", "--strict", path});
  expectFailure(strict, 1, path + ": is cut short");
  EXPECT_EQ(parsed(strict.out)["error"]["kind"], "format");
  // Without any of its pixels it is no photograph.
  writeFile(path, bytes.substr(0, 100));
  expectFailure(align({path}), 1, path + ": is damaged");
}

TEST_F(Photographs, WithDamagedBytesNeverEndTheProgram) {
  const std::string good = encoded(".jpg", gradientPicture(80, 60));
  std::vector<std::string> arguments;
  for (std::size_t i = 0; i < 40; ++i) {
    std::string bytes = good;
    for (std::size_t k = 0; k < 8; ++k) {
      bytes[(i * 7919 + k * 104729) % bytes.size()] = static_cast<char>(31 * i + 17 * k);
    }
    arguments.push_back(at("damaged" + std::to_string(i) + ".jpg"));
    writeFile(arguments.back(), bytes);
  }
  const Outcome run = align(arguments);
  EXPECT_EQ(run.signal, 0);
  EXPECT_TRUE(run.exit_code == 0 || run.exit_code == 1) << run.exit_code;
  EXPECT_EQ(linesOf(run.out).size(), arguments.size()) << run.err;
  expectMessagesNameProgram(run);
}

TEST_F(Photographs, OfAbsurdSizeAreRefused) {
  // The header of a PNG file of 2^31 - 1 by 2^31 - 1 pixels, with the right check sum, and nothing
  // behind it.
  std::string header(
      "\x89PNG\r\n\x1A\n\0\0\0\x0DIHDR\x7F\xFF\xFF\xFF\x7F\xFF\xFF\xFF\x08\x02\0\0\0", 29);
  std::uint32_t check = 0xFFFFFFFFU;
  for (std::size_t i = 12; i < header.size(); ++i) {
    check ^= static_cast<unsigned char>(header[i]);
    for (int bit = 0; bit < 8; ++bit) {
      check = (check & 1) != 0 ? 0xEDB88320U ^ (check >> 1) : check >> 1;
    }
  }
  for (int shift = 24; shift >= 0; shift -= 8) header += static_cast<char>(~check >> shift);
  writeFile(at("bomb.png"), header + std::string("\0\0\x10\0IDAT", 8) + std::string(4096, 'x'));
  // A bitmap of 2^20 by 2^20 pixels in 54 bytes.
  std::string bitmap("BM\x36\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\0\0\x10\0\0\0\x10\0\x01\0\x18\0",
                     30);
  writeFile(at("bomb.bmp"), bitmap + std::string(24, '\0'));

  const Outcome run = align({at("bomb.png"), at("bomb.bmp"), makePicture("good.png")});
  expectFailure(run, 1, "bomb.png: ");
  expectFailure(run, 1, "bomb.bmp: ");
  // Two failures and the closing line.
  EXPECT_EQ(linesOf(run.err).size(), 3U) << run.err;
  EXPECT_EQ(linesOf(run.out).size(), 3U);
  EXPECT_EQ(parsed(linesOf(run.out)[0])["error"]["kind"], "memory");
}

TEST_F(Photographs, CannotForgeMessageLines) {
  const Outcome run = align({at("a\nozna: all is well")});
  EXPECT_EQ(linesOf(run.err).size(), 1U);
}

TEST_F(Photographs, TooNarrowToBeSearchedHaveNoFaces) {
  // 20000 by 2 pixels: scale 13 / 32 * 640 / 20000 = 0.013, so the working image is 260 by 0.
  const std::string path = makePicture("strip.png", 20000, 2);
  const Outcome run = runOzna({"detect", "--json", path});
  EXPECT_EQ(run.exit_code, 0);
  EXPECT_EQ(parsed(run.out)["faces"], nlohmann::ordered_json::array());
  EXPECT_NE(run.err.find("260 x 0"), std::string::npos) << run.err;
}

TEST_F(Photographs, OfFewPixelsHaveNoFaces) {
  for (const auto& [width, height] : std::vector<std::pair<int, int>>{
           {1, 1}, {2, 2}, {7, 3}, {30, 500}, {1000, 30}, {20, 20}, {640, 40}}) {
    SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
    const Outcome run = runOzna({"detect", "--json", makePicture("small.png", width, height)});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    EXPECT_EQ(run.signal, 0);
    EXPECT_EQ(parsed(run.out)["faces"].size(), 0U);
  }
}

}  // namespace
}  // namespace ozna_test
