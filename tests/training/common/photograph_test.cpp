// Photographs as the library takes them.

#include "training/common/photograph.h"

#include <gtest/gtest.h>

#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>

#include "tests/temporary_folder.h"

namespace training {
namespace {

TEST(ReadPhotoRgb, PutsRedFirst) {
  const ozna_test::TemporaryFolder folder;
  ASSERT_TRUE(cv::imwrite(folder.file("red.png"), cv::Mat(2, 2, CV_8UC3, cv::Scalar(0, 0, 200))));
  EXPECT_EQ(readPhotoRgb(folder.file("red.png")).at<cv::Vec3b>(1, 1), cv::Vec3b(200, 0, 0));
}

TEST(ReadPhotoRgb, RefusesAFileThatIsNoPicture) {
  const ozna_test::TemporaryFolder folder;
  std::ofstream(folder.file("text.png")) << "no picture";
  EXPECT_THROW(readPhotoRgb(folder.file("text.png")), std::runtime_error);
  EXPECT_THROW(readPhotoRgb(folder.file("missing.png")), std::runtime_error);
}

}  // namespace
}  // namespace training
