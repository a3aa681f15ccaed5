// The page of ozna report: what stands in it. report_in_browser_test.py opens it in a browser.

#include <cstddef>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class ReportPage : public ProgramTest {
 protected:
  // What the script of a page works on.
  static nlohmann::ordered_json dataOf(const std::string& page) {
    const std::string begin = "const data = ";
    const std::size_t at = page.find(begin) + begin.size();
    return parsed(page.substr(at, page.find(";\nconst by", at) - at));
  }

  // The picture of a data address.
  static cv::Mat pictureOf(const std::string& address) {
    const std::string begin = "data:image/jpeg;base64,";
    EXPECT_EQ(address.rfind(begin, 0), 0U);
    std::vector<uchar> bytes;
    unsigned buffer = 0;
    int bits = 0;
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (const char c : address.substr(begin.size())) {
      if (c == '=') break;
      buffer = buffer << 6 | static_cast<unsigned>(digits.find(c));
      bits += 6;
      if (bits < 8) continue;
      bits -= 8;
      bytes.push_back(static_cast<uchar>(buffer >> bits & 255));
    }
    return cv::imdecode(bytes, cv::IMREAD_COLOR);
  }
};

TEST_F(ReportPage, HasThumbnailsChipsAndFailures) {
  const std::string group = OZNA_SOURCE_DIR "/samples/group.jpg";
  const std::string none = makePicture("none.png");
  const Outcome run = runOzna({"report", "-o", at("report.html"), group, none, at("missing.jpg")});
  EXPECT_EQ(run.exit_code, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_EQ(linesOf(run.err).back(), "ozna: 3 photographs, 9 faces; 1 failed");
  const std::string page = readFile(at("report.html"));
  const nlohmann::ordered_json data = dataOf(page);
  ASSERT_EQ(data["photographs"].size(), 2U);
  const nlohmann::ordered_json& first = data["photographs"][0];
  EXPECT_EQ(first["path"], group);
  EXPECT_EQ(first["width"], 1280);
  ASSERT_EQ(first["faces"].size(), 9U);
  EXPECT_EQ(data["photographs"][1]["faces"].size(), 0U);
  ASSERT_EQ(data["failures"].size(), 1U);
  EXPECT_EQ(data["failures"][0]["message"], "No such file or directory");
  // Two thumbnails and nine chips, each one named once.
  ASSERT_EQ(data["pictures"].size(), 11U);
  const cv::Mat thumbnail = pictureOf(data["pictures"][first["thumbnail"].get<std::size_t>()]);
  EXPECT_EQ(thumbnail.cols, 480);
  for (const auto& face : first["faces"]) {
    EXPECT_EQ(pictureOf(data["pictures"][face["chip"].get<std::size_t>()]).size(),
              cv::Size(96, 96));
    EXPECT_GT(face["sharpness"].get<int>(), 0);
  }
  // No network: no address but those of the pictures.
  EXPECT_EQ(page.find("http:"), std::string::npos);
  EXPECT_EQ(page.find("https:"), std::string::npos);
  EXPECT_NE(page.find("default-src 'none'"), std::string::npos);
  // The panels are grids, which the attribute alone would not hide.
  EXPECT_NE(page.find("[hidden] { display: none !important; }"), std::string::npos);
  // A second run replaces the page, and nothing else is left there.
  EXPECT_EQ(runOzna({"report", "-o", at("report.html"), none}).exit_code, 0);
  EXPECT_EQ(dataOf(readFile(at("report.html")))["photographs"].size(), 1U);
  EXPECT_FALSE(fs::exists(at("report-files")));
}

TEST_F(ReportPage, SharperFacesCountAsSharper) {
  const cv::Mat sharp = cv::imread(OZNA_SOURCE_DIR "/samples/astronaut.png");
  cv::Mat blurred;
  cv::blur(sharp, blurred, {5, 5});
  cv::imwrite(at("blurred.png"), blurred);
  ASSERT_EQ(runOzna({"report", "-o", at("r.html"), OZNA_SOURCE_DIR "/samples/astronaut.png",
                     at("blurred.png")})
                .exit_code,
            0);
  const nlohmann::ordered_json photographs = dataOf(readFile(at("r.html")))["photographs"];
  ASSERT_EQ(photographs[1]["faces"].size(), 1U);
  EXPECT_GT(photographs[0]["faces"][0]["sharpness"].get<int>(),
            2 * photographs[1]["faces"][0]["sharpness"].get<int>());
}

TEST_F(ReportPage, NamesCannotLeaveTheScript) {
  const std::string path = at("<script>alert(1)<!--.png");
  fs::copy_file(makePicture("a.png"), path);
  ASSERT_EQ(runOzna({"report", "-o", at("r.html"), path}).exit_code, 0);
  const std::string page = readFile(at("r.html"));
  EXPECT_EQ(page.find("<script>alert"), std::string::npos);
  EXPECT_EQ(dataOf(page)["photographs"][0]["path"], path);
}

TEST_F(ReportPage, TargetThatCannotBeIsReported) {
  const std::string photograph = makePicture("a.png");
  expectFailure(runOzna({"report", "-o", at("no/r.html"), photograph}), 4, "does not exist");
  expectFailure(runOzna({"report", "-o", directory_.string(), photograph}), 4, "is a directory");
  expectFailure(runOzna({"report", photograph}), 2, "--output");
}

}  // namespace
}  // namespace ozna_test
