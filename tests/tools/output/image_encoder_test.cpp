// Annotated copies in the form of their photograph.

#include "tools/output/image_encoder.h"

#include <exiv2/exiv2.hpp>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/output/copies_of_photographs.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class ImageEncoder : public CopiesOfPhotographs {};

TEST_F(ImageEncoder, TiffKeepsModelAndProfileAndItsOwnForm) {
  ASSERT_EQ(runOzna({"annotate", "-o", at("a.tiff"), withMetadata("in/a.jpg")}).exit_code, 0);
  EXPECT_EQ(cv::imread(at("a.tiff")).size(), cv::Size(30, 40));
  const auto image = Exiv2::ImageFactory::open(at("a.tiff"));
  image->readMetadata();
  EXPECT_EQ(image->exifData()["Exif.Image.Model"].toString(), "Pinhole");
  EXPECT_EQ(image->exifData()["Exif.Image.InterColorProfile"].size(), 132);
}

TEST_F(ImageEncoder, KeepTheAlphaChannel) {
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

}  // namespace
}  // namespace ozna_test
