// Drawn copies: what they keep of the photograph, and where they go.

#include <opencv2/imgcodecs.hpp>

#include "tests/tools/output/copies_of_photographs.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class Copies : public CopiesOfPhotographs {};

TEST_F(Copies, OnePictureForSeveralPhotographsIsAnErrorAndNoDirectory) {
  const std::string a = makePicture("a.png");
  const std::string b = makePicture("b.png");
  expectFailure(runOzna({"annotate", "-o", at("two.jpg"), a, b}), 2, "two.jpg is one picture");
  expectFailure(runOzna({"annotate", "-o", at("two.jpg"), "-r", directory_.string()}), 2,
                "is one picture");
  expectFailure(runOzna({"crop", "-o", at("two.jpg"), a}), 2, "crop writes one per face");
  EXPECT_FALSE(fs::exists(at("two.jpg")));
}

TEST_F(Copies, StandardOutputTakesOnePicture) {
  const std::string photograph = makePicture("a.png", 40, 30);
  const Outcome run = runOzna({"annotate", "-o", "-", photograph});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  const std::vector<char> bytes(run.out.begin(), run.out.end());
  EXPECT_EQ(cv::imdecode(bytes, cv::IMREAD_COLOR).size(), cv::Size(40, 30));
  expectFailure(runOzna({"annotate", "-o", "-", photograph, makePicture("b.png")}), 2,
                "-o - takes one photograph");
}

TEST_F(Copies, PictureOnStandardInputIsRead) {
  const std::string picture = encoded(".png", gradientPicture(40, 30));
  const Outcome named = runOznaOn(picture, {"detect", "--json", "-i", "-"});
  EXPECT_EQ(named.exit_code, 0) << named.err;
  EXPECT_EQ(parsed(named.out)["width"], 40);
  const Outcome noticed = runOznaOn(picture, {"detect", "--json", "-"});
  EXPECT_EQ(noticed.exit_code, 0) << noticed.err;
  EXPECT_EQ(parsed(noticed.out)["width"], 40);
  EXPECT_NE(noticed.err.find("holds a picture and no list of names"), std::string::npos);
  const Outcome piped =
      runOznaUnder({"sh", "-c", "cat '" + makePicture("large.ppm", 300, 300) + "' | \"$@\"", "sh"},
                   {"annotate", "-o", "-", "-i", "-"});
  EXPECT_EQ(piped.exit_code, 0) << piped.err;
  EXPECT_EQ(parsed(runOzna({"detect", "--json", "-i", makePicture("b.png")}).out)["width"], 40);
  expectFailure(runOzna({"detect"}), 2, "-i - for a picture");
}

}  // namespace
}  // namespace ozna_test
