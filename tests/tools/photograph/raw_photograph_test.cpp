// Raw photographs of cameras.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/tools/photograph/number_bytes.h"
#include "tests/tools/photograph/sample_face.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

// A directory of a TIFF file: fields by their number, of a type and their values. Values of more
// than four bytes come behind it.
class Directory {
 public:
  void set(std::uint16_t tag, std::uint16_t type, const std::vector<std::uint32_t>& values) {
    std::string bytes;
    for (const std::uint32_t value : values) {
      if (type == 1) put<std::uint8_t>(bytes, static_cast<std::uint8_t>(value));
      if (type == 3) put<std::uint16_t>(bytes, static_cast<std::uint16_t>(value));
      if (type == 4) put<std::uint32_t>(bytes, value);
      if (type == 5 || type == 10) put<std::uint64_t>(bytes, value | std::uint64_t{10000} << 32);
    }
    fields_[tag] = {type, static_cast<std::uint32_t>(values.size()), bytes};
  }
  void setText(std::uint16_t tag, const std::string& text) {
    fields_[tag] = {2, static_cast<std::uint32_t>(text.size() + 1), text + '\0'};
  }
  std::size_t size() const {
    std::size_t total = 2 + 12 * fields_.size() + 4;
    for (const auto& [tag, field] : fields_) {
      total += field.bytes.size() > 4 ? field.bytes.size() : 0;
    }
    return total + total % 2;
  }
  // Its bytes where it stands at this place of the file.
  std::string at(std::size_t place) const {
    std::string table;
    std::string behind;
    put<std::uint16_t>(table, static_cast<std::uint16_t>(fields_.size()));
    std::size_t next = place + 2 + 12 * fields_.size() + 4;
    for (const auto& [tag, field] : fields_) {
      put<std::uint16_t>(table, tag);
      put<std::uint16_t>(table, field.type);
      put<std::uint32_t>(table, field.count);
      std::string value = field.bytes;
      if (value.size() > 4) {
        put<std::uint32_t>(table, static_cast<std::uint32_t>(next + behind.size()));
        behind += value;
      } else {
        value.resize(4);
        table += value;
      }
    }
    put<std::uint32_t>(table, 0);
    std::string all = table + behind;
    all.resize(size());
    return all;
  }

 private:
  struct Field {
    std::uint16_t type;
    std::uint32_t count;
    std::string bytes;
  };
  std::map<std::uint16_t, Field> fields_;
};

// A raw photograph of an upright picture, blue first, as a camera held upright stores it: behind
// one filter of red, green, green and blue, 16 bits a sample, without compression. Its first page
// is a thumbnail of 16 by 12 pixels. preview  A JPEG file; empty for none.
std::string dng(const cv::Mat& picture, const std::string& preview, int orientation = 1) {
  std::string sensor;
  for (int y = 0; y < picture.rows; ++y) {
    for (int x = 0; x < picture.cols; ++x) {
      const int channel = y % 2 == 0 ? (x % 2 == 0 ? 2 : 1) : (x % 2 == 0 ? 1 : 0);
      // About the inverse of the curve that a developer applies.
      const double value = std::pow(picture.at<cv::Vec3b>(y, x)[channel] / 255.0, 2.2);
      put<std::uint16_t>(sensor, static_cast<std::uint16_t>(std::lround(65535 * value)));
    }
  }
  const std::string thumbnail(3 * 16 * 12, 'g');
  const auto rows = static_cast<std::uint32_t>(picture.rows);
  const auto columns = static_cast<std::uint32_t>(picture.cols);

  Directory first;
  Directory raw;
  Directory small;
  const auto picturePart = [](Directory& directory, std::uint32_t kind, std::uint32_t width,
                              std::uint32_t height, std::uint32_t compression,
                              std::uint32_t meaning, std::uint32_t samples, std::uint32_t bits) {
    directory.set(254, 4, {kind});
    directory.set(256, 4, {width});
    directory.set(257, 4, {height});
    directory.set(258, 3, std::vector<std::uint32_t>(samples, bits));
    directory.set(259, 3, {compression});
    directory.set(262, 3, {meaning});
    directory.set(277, 3, {samples});
    directory.set(278, 4, {height});
    directory.set(284, 3, {1});
  };
  picturePart(first, 1, 16, 12, 1, 2, 3, 8);
  first.setText(271, "Ozna");
  first.setText(272, "Pinhole");
  first.set(274, 3, {static_cast<std::uint32_t>(orientation)});
  first.set(50706, 1, {1, 4, 0, 0});
  first.setText(50708, "Ozna Pinhole");
  // Nearly the colours of a screen, in ten-thousandths.
  first.set(50721, 10, {31338, 0, 0, 0, 18760, 0, 0, 0, 10000});
  first.set(50728, 5, {10000, 10000, 10000});
  first.set(50778, 3, {21});
  picturePart(raw, 0, columns, rows, 1, 32803, 1, 16);
  raw.set(33421, 3, {2, 2});
  raw.set(33422, 1, {0, 1, 1, 2});
  raw.set(50717, 4, {65535});
  cv::Size seen;
  if (!preview.empty()) {
    seen = cv::imdecode(std::vector<char>(preview.begin(), preview.end()), cv::IMREAD_COLOR).size();
  }
  picturePart(small, 1, static_cast<std::uint32_t>(seen.width),
              static_cast<std::uint32_t>(seen.height), 7, 6, 3, 8);

  // The places follow from the sizes, which no value changes.
  std::vector<std::uint32_t> parts(preview.empty() ? 1 : 2, 0);
  const auto fill = [&](std::size_t raw_at, std::size_t small_at, std::size_t data_at) {
    parts[0] = static_cast<std::uint32_t>(raw_at);
    if (parts.size() > 1) parts[1] = static_cast<std::uint32_t>(small_at);
    first.set(330, 4, parts);
    const auto strip = [&](Directory& directory, const std::string& data) {
      directory.set(273, 4, {static_cast<std::uint32_t>(data_at)});
      directory.set(279, 4, {static_cast<std::uint32_t>(data.size())});
      data_at += data.size();
    };
    strip(first, thumbnail);
    strip(raw, sensor);
    if (!preview.empty()) strip(small, preview);
  };
  fill(0, 0, 0);
  const std::size_t raw_at = 8 + first.size();
  const std::size_t small_at = raw_at + raw.size();
  const std::size_t data_at = small_at + (preview.empty() ? 0 : small.size());
  fill(raw_at, small_at, data_at);
  std::string file("II*\0\x08\0\0\0", 8);
  file += first.at(8) + raw.at(raw_at);
  if (!preview.empty()) file += small.at(small_at);
  return file + thumbnail + sensor + preview;
}

class RawPhotographs : public SampleFaceTest {};

TEST_F(RawPhotographs, RawPhotographIsDevelopedAndSpeaksOfItsFullPicture) {
  writeFile(at("a.dng"), dng(astronaut_, ""));
  const Outcome run = runOzna({"detect", "--json", at("a.dng")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json line = parsed(run.out);
  // Not the thumbnail's 16 by 12, nor the half of the development.
  EXPECT_EQ(line["width"], 512);
  EXPECT_EQ(line["height"], 512);
  ASSERT_EQ(line["faces"].size(), 1U) << run.out;
  // Half as many pixels may give the next larger box that the search looks for, around the same
  // face.
  const nlohmann::ordered_json& found = line["faces"][0];
  const nlohmann::ordered_json expected = faceOfSample();
  const auto shared = [&](const char* first, const char* last) {
    return std::min(found[last].get<float>(), expected[last].get<float>()) -
           std::max(found[first].get<float>(), expected[first].get<float>());
  };
  const auto areaOf = [](const nlohmann::ordered_json& face) {
    return (face["right"].get<float>() - face["left"].get<float>()) *
           (face["bottom"].get<float>() - face["top"].get<float>());
  };
  const float both = shared("left", "right") * shared("top", "bottom");
  EXPECT_GT(both / (areaOf(found) + areaOf(expected) - both), 0.5F);
}

TEST_F(RawPhotographs, RawPhotographIsDevelopedInOneThreadWhateverTheEnvironmentSays) {
  writeFile(at("a.dng"), dng(gradientPicture(64, 48), ""));
  const Outcome run = runOznaUnder({"env", "OMP_DISPLAY_ENV=true", "OMP_NUM_THREADS=7"},
                                   {"detect", "--json", at("a.dng")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_NE(run.err.find("OMP_NUM_THREADS = '1'"), std::string::npos) << run.err;
}

TEST_F(RawPhotographs, RawPhotographIsTurnedUpright) {
  cv::Mat stored;
  cv::rotate(astronaut_, stored, cv::ROTATE_90_COUNTERCLOCKWISE);
  writeFile(at("A.DNG"), dng(stored(cv::Rect(0, 0, 512, 480)), "", 6));
  const nlohmann::ordered_json line = parsed(runOzna({"detect", "--json", at("A.DNG")}).out);
  EXPECT_EQ(line["orientation"], 6);
  EXPECT_EQ(line["width"], 480);
  EXPECT_EQ(line["height"], 512);
  EXPECT_EQ(line["faces"].size(), 1U);
}

TEST_F(RawPhotographs, PreviewOfARawPhotographIsTakenWhereItIsLargeEnough) {
  cv::Mat full;
  cv::resize(astronaut_, full, {2048, 2048}, 0, 0, cv::INTER_CUBIC);
  cv::Mat large;
  cv::resize(astronaut_, large, {1024, 1024}, 0, 0, cv::INTER_CUBIC);
  cv::Mat small;
  cv::resize(astronaut_, small, {1000, 1000}, 0, 0, cv::INTER_CUBIC);
  // The sensor is grey: who finds a face has looked at the preview.
  const cv::Mat grey(full.size(), CV_8UC3, cv::Scalar(90, 90, 90));
  writeFile(at("large.dng"), dng(grey, encoded(".jpg", large)));
  writeFile(at("small.dng"), dng(grey, encoded(".jpg", small)));
  const Outcome run = runOzna({"detect", "--json", at("large.dng"), at("small.dng")});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json line = parsed(linesOf(run.out)[0]);
  EXPECT_EQ(line["width"], 2048);
  ASSERT_EQ(line["faces"].size(), 1U);
  expectNear(line["faces"][0], faceOfSample(), 4, 40);
  EXPECT_EQ(parsed(linesOf(run.out)[1])["faces"].size(), 0U);
  // A drawn copy has the full size.
  ASSERT_EQ(runOzna({"annotate", "-o", at("a.png"), at("large.dng")}).exit_code, 0);
  EXPECT_EQ(cv::imread(at("a.png")).size(), cv::Size(2048, 2048));
}

TEST_F(RawPhotographs, DamagedRawPhotographsFailAndFoldersHaveThem) {
  const std::string whole = dng(gradientPicture(80, 60), "");
  writeFile(at("in/a.dng"), whole);
  writeFile(at("in/b.cr2"), "no raw photograph");
  writeFile(at("in/c.nef"), whole.substr(0, 200));
  const Outcome run = runOzna({"detect", "--json", "-r", at("in")});
  EXPECT_EQ(run.exit_code, 1);
  ASSERT_EQ(linesOf(run.out).size(), 3U);
  EXPECT_EQ(parsed(linesOf(run.out)[0])["width"], 80);
  EXPECT_NE(run.err.find("b.cr2: is damaged, or a raw photograph of an unknown kind"),
            std::string::npos)
      << run.err;
}

}  // namespace
}  // namespace ozna_test
