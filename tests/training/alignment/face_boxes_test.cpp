// The detector's boxes for training and measuring.

#include "training/alignment/face_boxes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/temporary_folder.h"
#include "training/common/photograph.h"

namespace alignment_training {
namespace {

TEST(ViewOf, HasTheSidesTheRowStepAndTheMemory) {
  const cv::Mat rgb(7, 9, CV_8UC3, cv::Scalar(0));
  const oznalib::Image view = viewOf(rgb(cv::Rect(2, 1, 5, 4)));
  EXPECT_EQ(view.width, 5);
  EXPECT_EQ(view.height, 4);
  EXPECT_EQ(view.stride, 27);
  EXPECT_EQ(view.data, rgb.data + 27 + 6);
}

TEST(BoxFinder, FindsTheFaceOfAPortrait) {
  BoxFinder finder(OZNA_SOURCE_DIR "/public");
  const auto boxes = finder.find(training::readPhotoRgb(OZNA_SOURCE_DIR "/samples/astronaut.png"));
  ASSERT_EQ(boxes.size(), 1U);
  EXPECT_GT(overlap(boxes[0], {175, 65, 275, 165}), 0.6F);  // Measured by eye.
}

TEST(BoxFinder, RefusesAListWithoutStages) {
  const ozna_test::TemporaryFolder folder;
  std::ofstream(folder.file("stages.txt")).close();
  try {
    const BoxFinder finder(folder.path());
    FAIL() << "accepted a cascade without stages";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), "no cascade in " + folder.path());
  }
}

}  // namespace
}  // namespace alignment_training
