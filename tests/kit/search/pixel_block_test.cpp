// Memory for the pixels of a picture.

#include "kit/search/pixel_block.h"

#include <gtest/gtest.h>

#include <opencv2/core.hpp>

namespace kit {
namespace {

// Of 40 and 12 megabytes, by pieces of 32: the second begins anew in a block that is empty again.
TEST(PixelBlock, HoldsWholePicturesUntilItGivesThemBack) {
  WorkProgress progress(nullptr, nullptr);
  for (const cv::Size& size : {cv::Size(4001, 3333), cv::Size(2000, 2000), cv::Size(1, 1)}) {
    PixelBlock block;
    cv::Mat picture = block.make(size);
    picture.setTo(cv::Scalar(1, 2, 3));
    EXPECT_EQ(picture.at<cv::Vec3b>(size.height - 1, size.width - 1), cv::Vec3b(1, 2, 3));
    block.release(progress);
    block.release(progress);
  }
}

}  // namespace
}  // namespace kit
