// What a handle refers to, before and after a load.

#include "detector/detector_impl.h"

#include <gtest/gtest.h>

#include <boost/weak_ptr.hpp>

#include "tests/detector/handmade_cascade.h"

namespace {

using oznalib::CascadeStage;
using oznalib::DetectorImpl;

TEST(DetectorImpl, BeginsWithNothing) {
  const DetectorImpl detector;
  EXPECT_FALSE(detector.loaded || detector.stagesLoaded || detector.calibrationLoaded);
  EXPECT_TRUE(detector.stages.empty());
  EXPECT_EQ(detector.calibration.net, nullptr);
  EXPECT_EQ(oznalib::probsBlobName, "probs");
}

TEST(DetectorImpl, ReleasesItsNetworksWholeLoadOrNot) {
  for (const bool is_whole : {false, true}) {
    boost::weak_ptr<caffe::Net<float>> stage, calibration;
    {
      DetectorImpl detector;
      detector.stages.push_back(detector_test::constantNet(4, {0.7, 0.3}).stage(0.5F));
      detector.calibration = detector_test::constantNet(4, {0.7, 0.3}).stage(0.5F);
      detector.loaded = detector.stagesLoaded = detector.calibrationLoaded = is_whole;
      stage = detector.stages[0].net;
      calibration = detector.calibration.net;
      EXPECT_FALSE(stage.expired());
    }
    EXPECT_TRUE(stage.expired()) << is_whole;
    EXPECT_TRUE(calibration.expired()) << is_whole;
  }
}

}  // namespace
