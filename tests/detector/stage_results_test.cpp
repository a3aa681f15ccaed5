// The run with a trace of each stage.

#include "detector/stage_results.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>

#include "detector/cascade_driver.h"
#include "tests/detector/bright_pixels.h"
#include "tests/detector/handmade_cascade.h"

namespace {

using detector_test::blackImage;
using detector_test::boxesOf;
using detector_test::brighten;
using detector_test::brightPixelNet;
using detector_test::constantNet;
using detector_test::plainScan;
using oznalib::DetectorImpl;
using oznalib::runCascade;
using oznalib::StageResults;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(StageResults, TracesEachStageBeforeItsThreshold) {
  DetectorImpl detector;
  detector.stages.push_back(brightPixelNet(21).stage(0.4F));
  detector.stages.push_back(constantNet(4, {0.7, 0.3}).stage(0.5F));
  cv::Mat image = blackImage();
  brighten(image, 0, 0, 120);
  brighten(image, 5, 5, 250);
  StageResults trace(2);
  EXPECT_THAT(runCascade(detector, image, trace, plainScan()).candidates, IsEmpty());
  ASSERT_EQ(trace[0].size(), 1U);
  ASSERT_EQ(trace[0][0].candidates.size(), 36U);
  for (std::size_t i = 1; i < 36; ++i) {
    EXPECT_GE(trace[0][0].candidates[i - 1].score, trace[0][0].candidates[i].score);
  }
  ASSERT_EQ(trace[1].size(), 1U);
  EXPECT_THAT(boxesOf(trace[1][0]),
              ElementsAre(ElementsAre(16, 16, 4, 4), ElementsAre(0, 0, 4, 4)));
  EXPECT_NEAR(trace[1][0].candidates[0].score, 0.3, 1e-6);
  // One list per run and stage.
  runCascade(detector, image, trace, plainScan());
  EXPECT_EQ(trace[0].size(), 2U);
  EXPECT_EQ(trace[1].size(), 2U);
}

}  // namespace
