// Drawn copies: what they keep of the photograph, and where they go.

#include <cstddef>
#include <exiv2/exiv2.hpp>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/pictures.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

// A colour profile as far as files look into it: its length stands in its first four bytes.
std::string colourProfile() {
  std::string profile(132, 'p');
  profile[0] = profile[1] = profile[2] = 0;
  profile[3] = static_cast<char>(132);
  return profile;
}

class Copies : public ProgramTest {
 protected:
  // Puts profile, camera, time and a thumbnail's field into a picture that is turned on its side.
  std::string withMetadata(const std::string& name) const {
    const std::string ending = fs::path(name).extension().string();
    writeFile(at(name), ending == ".png"
                            ? encoded(ending, gradientPicture(40, 30))
                            : encodedWithOrientation(ending, gradientPicture(40, 30), 6));
    const auto image = Exiv2::ImageFactory::open(at(name));
    image->readMetadata();
    const std::string profile = colourProfile();
    Exiv2::DataBuf bytes(reinterpret_cast<const Exiv2::byte*>(profile.data()),
                         static_cast<long>(profile.size()));
    image->setIccProfile(bytes);
    Exiv2::ExifData& exif = image->exifData();
    exif["Exif.Image.Model"] = "Pinhole";
    exif["Exif.Photo.DateTimeOriginal"] = "2026:11:22 12:00:00";
    exif["Exif.Photo.PixelXDimension"] = std::uint32_t{40};
    exif["Exif.Thumbnail.Compression"] = std::uint16_t{6};
    image->writeMetadata();
    return at(name);
  }

  static std::string profileIn(Exiv2::Image& image) {
    const Exiv2::DataBuf* const profile = image.iccProfile();
    return {reinterpret_cast<const char*>(profile->pData_),
            static_cast<std::size_t>(profile->size_)};
  }
};

TEST_F(Copies, KeepProfileAndExifLessOrientationAndThumbnail) {
  for (const std::string ending : {".jpg", ".png", ".webp"}) {
    SCOPED_TRACE(ending);
    std::filesystem::create_directory(at("out"));
    const std::string photograph = withMetadata(ending == ".png" ? "in/a.png" : "in/a.jpg");
    ASSERT_EQ(runOzna({"annotate", "-o", at("out/a" + ending), photograph}).exit_code, 0);
    const auto image = Exiv2::ImageFactory::open(at("out/a" + ending));
    image->readMetadata();
    EXPECT_EQ(profileIn(*image), colourProfile());
    Exiv2::ExifData& exif = image->exifData();
    EXPECT_EQ(exif["Exif.Image.Model"].toString(), "Pinhole");
    EXPECT_EQ(exif["Exif.Photo.DateTimeOriginal"].toString(), "2026:11:22 12:00:00");
    // The copy is upright: sides exchanged where the photograph lay on its side.
    const int width = ending == ".png" ? 40 : 30;
    EXPECT_EQ(image->pixelWidth(), width);
    EXPECT_EQ(exif["Exif.Photo.PixelXDimension"].toLong(), width);
    EXPECT_EQ(exif.findKey(Exiv2::ExifKey("Exif.Image.Orientation")), exif.end());
    EXPECT_EQ(exif.findKey(Exiv2::ExifKey("Exif.Thumbnail.Compression")), exif.end());
  }
}

TEST_F(Copies, KeepTheProfileOfHeic) {
  for (const std::string& profile : {colourProfile(), std::string()}) {
    writeFile(at("in/a.heic"), encodedHeic(gradientPicture(64, 48), profile));
    for (const std::string ending : {".jpg", ".png", ".webp"}) {
      SCOPED_TRACE(ending);
      fs::create_directory(at("out"));
      ASSERT_EQ(runOzna({"annotate", "-o", at("out/a" + ending), at("in/a.heic")}).exit_code, 0);
      const auto image = Exiv2::ImageFactory::open(at("out/a" + ending));
      image->readMetadata();
      EXPECT_EQ(image->iccProfileDefined() ? profileIn(*image) : "", profile);
    }
  }
}

TEST_F(Copies, TiffKeepsModelAndProfileAndItsOwnForm) {
  ASSERT_EQ(runOzna({"annotate", "-o", at("a.tiff"), withMetadata("in/a.jpg")}).exit_code, 0);
  EXPECT_EQ(cv::imread(at("a.tiff")).size(), cv::Size(30, 40));
  const auto image = Exiv2::ImageFactory::open(at("a.tiff"));
  image->readMetadata();
  EXPECT_EQ(image->exifData()["Exif.Image.Model"].toString(), "Pinhole");
  EXPECT_EQ(image->exifData()["Exif.Image.InterColorProfile"].size(), 132);
}

TEST_F(Copies, KeepTheAlphaChannel) {
  cv::Mat picture(30, 40, CV_8UC4, cv::Scalar(10, 20, 30, 255));
  picture(cv::Rect(0, 0, 20, 30)).setTo(cv::Scalar(10, 20, 30, 77));
  for (const std::string ending : {".png", ".tiff", ".webp"}) {
    SCOPED_TRACE(ending);
    writeFile(at("in/a" + ending), encoded(ending, picture));
    ASSERT_EQ(runOzna({"annotate", "-o", at("out/"), at("in/a" + ending)}).exit_code, 0);
    const cv::Mat copy = cv::imread(at("out/a" + ending), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(copy.type(), CV_8UC4);
    EXPECT_EQ(copy.at<cv::Vec4b>(5, 5)[3], 77);
    EXPECT_EQ(copy.at<cv::Vec4b>(5, 35)[3], 255);
    // A format without alpha leaves it out.
    ASSERT_EQ(runOzna({"annotate", "-o", at("a.jpg"), at("in/a" + ending)}).exit_code, 0);
    EXPECT_EQ(cv::imread(at("a.jpg"), cv::IMREAD_UNCHANGED).channels(), 3);
  }
}

TEST_F(Copies, OnePictureForSeveralPhotographsIsAnErrorAndNoDirectory) {
  const std::string a = makePicture("a.png");
  const std::string b = makePicture("b.png");
  expectFailure(runOzna({"annotate", "-o", at("two.jpg"), a, b}), 2, "two.jpg is one picture");
  expectFailure(runOzna({"annotate", "-o", at("two.jpg"), "-r", directory_.string()}), 2,
                "is one picture");
  expectFailure(runOzna({"crop", "-o", at("two.jpg"), a}), 2, "crop writes one per face");
  EXPECT_FALSE(fs::exists(at("two.jpg")));
}

TEST_F(Copies, OfFormerRunsAreOverwrittenOrSkippedOnDemand) {
  const std::string a = makePicture("in/a.png", 40, 30);
  writeFile(at("out/a.png"), "old");
  const Outcome skipped = runOzna(
      {"annotate", "--json", "--skip-existing", "-o", at("out"), a, makePicture("in/b.png")});
  EXPECT_EQ(linesOf(skipped.out).size(), 1U);
  EXPECT_NE(skipped.err.find("1 photograph, 0 faces; 1 done before"), std::string::npos);
  EXPECT_EQ(readFile(at("out/a.png")), "old");
  ASSERT_EQ(runOzna({"annotate", "--overwrite", "-o", at("out"), a}).exit_code, 0);
  EXPECT_EQ(cv::imread(at("out/a.png")).cols, 40);
  EXPECT_FALSE(fs::exists(at("out/a-2.png")));
  expectFailure(runOzna({"annotate", "--overwrite", "--skip-existing", "-o", at("out"), a}), 2,
                "excludes");
  expectFailure(runOzna({"detect", "--overwrite", a}), 2, "about files that are written");
}

TEST_F(Copies, OverwritingHarmsNoPhotographNorAResultOfTheSameRun) {
  const std::string a = makePicture("in/a.png", 40, 30);
  const std::string other = makePicture("in/deep/a.png", 50, 30);
  const std::string bytes = readFile(a);
  for (const std::string& name : {a, at("in"), other}) {
    expectFailure(runOzna({"annotate", "--overwrite", "-o", at("in"), "-r", name}), 2,
                  "could replace photographs");
  }
  expectFailure(runOznaOn(a + "\n", {"annotate", "--overwrite", "-o", at("in"), "-"}), 2,
                "could replace photographs");
  EXPECT_EQ(readFile(a), bytes);
  // A photograph far down a list is protected before the first one is worked on, whoever's share it is.
  const std::string far = makePicture("far/a.png", 20, 20);
  std::string list = a + "\n";
  for (int i = 0; i < 200; ++i) list += at("none" + std::to_string(i) + ".png") + "\n";
  for (const char* command : {"annotate", "crop"}) {
    for (const char* share : {"1/2", "2/2"}) {
      writeFile(at("far/a-1.png"), "of the user");
      expectFailure(runOznaOn(list + far + "\n",
                              {command, "--overwrite", "--shard", share, "-o", at("far"), "-"}),
                    2, "could replace photographs");
      EXPECT_EQ(cv::imread(far).cols, 20);
      EXPECT_EQ(readFile(at("far/a-1.png")), "of the user");
    }
  }
  ASSERT_EQ(runOzna({"annotate", "--overwrite", "-o", at("out"), a, other}).exit_code, 0);
  EXPECT_EQ(cv::imread(at("out/a.png")).cols, 40);
  EXPECT_EQ(cv::imread(at("out/a-2.png")).cols, 50);
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
