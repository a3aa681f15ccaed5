// The exported types and the life of a Detector handle.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include "ozna.h"
#include "tests/detector/handmade_cascade.h"
#include "tests/detector/host_directory.h"

namespace {

using detector_test::constantNet;
using detector_test::DenseNet;
using detector_test::writeFile;
using ozna_test::TemporaryFolder;
using oznalib::Detection;
using oznalib::Detector;
using oznalib::DetectorParams;

static_assert(oznalib::StatusOk == 0, "The numbers are part of the interface.");
static_assert(oznalib::StatusLoadFailed == -3, "The numbers are part of the interface.");
static_assert(oznalib::StatusNotLoaded == -6, "The numbers are part of the interface.");
static_assert(sizeof(oznalib::Status) == 4, "A status is 32 bits wide.");
static_assert(std::is_signed<std::underlying_type<oznalib::Status>::type>::value, "And signed.");
static_assert(sizeof(oznalib::Rectangle<float>) == 16, "Four edges.");
static_assert(sizeof(Detection) == 20, "A rectangle and a score, by value.");
static_assert(sizeof(oznalib::CascadeParameter) == 24, "Six fields of four bytes.");
static_assert(sizeof(Detector) == sizeof(void*), "One pointer.");
static_assert(!std::is_copy_constructible<Detector>::value, "Handles have one owner.");
static_assert(std::is_copy_assignable<Detector>::value, "Assignment is exported.");

TEST(DetectorParams, StartsEmptyAndFlagged) {
  const DetectorParams params;
  EXPECT_STREQ(params.cascadeRoot, "");
  EXPECT_EQ(params.cascadeRoot, params.stageListName);  // One shared empty string.
  EXPECT_EQ(params.reservedFlag, 1);
}

TEST(DetectorParams, StoresThePointersAndNotTheText) {
  const char* const root = "root/";
  const char* const list = "list";
  const DetectorParams params(root, list);
  EXPECT_EQ(params.cascadeRoot, root);
  EXPECT_EQ(params.stageListName, list);
  EXPECT_EQ(params.reservedFlag, 1);
}

TEST(DetectorParams, CopiesAllFields) {
  const char* const root = "root/";
  const char* const list = "list";
  DetectorParams source(root, list);
  source.reservedFlag = 7;
  const DetectorParams copy(source);
  EXPECT_EQ(copy.cascadeRoot, root);
  EXPECT_EQ(copy.stageListName, list);
  EXPECT_EQ(copy.reservedFlag, 7);
  DetectorParams assigned;
  assigned = source;
  EXPECT_EQ(assigned.cascadeRoot, root);
  EXPECT_EQ(assigned.stageListName, list);
  EXPECT_EQ(assigned.reservedFlag, 7);
}

class DetectorHandle : public testing::Test {
 protected:
  DetectorHandle() {
    DenseNet dense;
    dense.height = dense.width = 8;
    dense.weights = {0, 0, 0, 0, 0, 0};
    dense.bias = {0, 0};
    dense.write(root_ + "first");
    detector_test::writeCalibration(root_, constantNet(2, {0.5, 0.5}), "0 0 1\n");
    writeFile(root_ + "good", "first 0.4\n");
    writeFile(root_ + "bad", "# nothing\n");
  }

  DetectorParams good() const {
    const char* const root = root_.c_str();
    const char* const list = "good";
    return DetectorParams(root, list);
  }
  DetectorParams bad() const {
    const char* const root = root_.c_str();
    const char* const list = "bad";
    return DetectorParams(root, list);
  }

  static oznalib::Status detectInBlack(const Detector& detector,
                                       std::vector<Detection>& detections) {
    const cv::Mat image = cv::Mat::zeros(8, 8, CV_8UC3);
    return detect(detector_test::borrow(image), detector, detections, {1, 8, 0.3F, 1, 2, 2});
  }

 private:
  TemporaryFolder directory_;
  const std::string root_ = directory_.root();
};

TEST_F(DetectorHandle, StartsEmpty) {
  const Detector detector;
  EXPECT_FALSE(detector.is_loaded());
  EXPECT_EQ(detector.getDetector(), nullptr);
}

TEST_F(DetectorHandle, HoldsAnObjectAfterALoad) {
  Detector detector;
  EXPECT_EQ(detector.load(good()), oznalib::StatusOk);
  EXPECT_TRUE(detector.is_loaded());
  EXPECT_NE(detector.getDetector(), nullptr);
}

TEST_F(DetectorHandle, HoldsAnObjectAfterAFailedLoadToo) {
  Detector detector;
  EXPECT_EQ(detector.load(bad()), oznalib::StatusLoadFailed);
  EXPECT_TRUE(detector.is_loaded());
  EXPECT_NE(detector.getDetector(), nullptr);
}

TEST_F(DetectorHandle, FailsToLoadFromEmptyParams) {
  Detector detector;
  EXPECT_EQ(detector.load(DetectorParams()), oznalib::StatusLoadFailed);
  EXPECT_TRUE(detector.is_loaded());
}

TEST_F(DetectorHandle, IsEmptyAfterUnload) {
  Detector detector;
  ASSERT_EQ(detector.load(good()), oznalib::StatusOk);
  detector.unload();
  EXPECT_FALSE(detector.is_loaded());
  EXPECT_EQ(detector.getDetector(), nullptr);
  detector.unload();  // Nothing left to free.
  EXPECT_FALSE(detector.is_loaded());

  EXPECT_EQ(detector.load(bad()), oznalib::StatusLoadFailed);
  detector.unload();
  EXPECT_FALSE(detector.is_loaded());
}

TEST_F(DetectorHandle, IsEmptyAfterUnloadDetector) {
  Detector detector;
  ASSERT_EQ(loadDetector(detector, good()), oznalib::StatusOk);
  EXPECT_TRUE(detector.is_loaded());
  unloadDetector(detector);
  EXPECT_FALSE(detector.is_loaded());
  unloadDetector(detector);
  EXPECT_FALSE(detector.is_loaded());
}

TEST_F(DetectorHandle, IsReplacedByASecondLoad) {
  Detector detector;
  std::vector<Detection> detections;
  ASSERT_EQ(detector.load(good()), oznalib::StatusOk);
  EXPECT_EQ(detectInBlack(detector, detections), oznalib::StatusOk);
  ASSERT_EQ(detector.load(bad()), oznalib::StatusLoadFailed);
  EXPECT_EQ(detectInBlack(detector, detections), oznalib::StatusNotLoaded);
  ASSERT_EQ(detector.load(good()), oznalib::StatusOk);
  EXPECT_EQ(detectInBlack(detector, detections), oznalib::StatusOk);
}

TEST_F(DetectorHandle, SharesTheObjectWhenAssigned) {
  Detector owner;
  ASSERT_EQ(owner.load(good()), oznalib::StatusOk);
  Detector other;
  EXPECT_EQ(&(other = owner), &other);
  EXPECT_EQ(other.getDetector(), owner.getDetector());
  std::vector<Detection> detections;
  EXPECT_EQ(detectInBlack(other, detections), oznalib::StatusOk);
  other = Detector();  // One owner again.
  EXPECT_TRUE(owner.is_loaded());
  EXPECT_FALSE(other.is_loaded());
}

TEST_F(DetectorHandle, RefusesToDetectWhenItsLoadFailed) {
  Detector detector;
  ASSERT_EQ(detector.load(bad()), oznalib::StatusLoadFailed);
  std::vector<Detection> detections(2);
  detections[1].score = 0.25F;
  EXPECT_EQ(detectInBlack(detector, detections), oznalib::StatusNotLoaded);
  ASSERT_EQ(detections.size(), 2U);
  EXPECT_EQ(detections[1].score, 0.25F);
}

TEST_F(DetectorHandle, RefusesToDetectWhenEmpty) {
  Detector detector;
  std::vector<Detection> detections(1);
  EXPECT_EQ(detectInBlack(detector, detections), oznalib::StatusNotLoaded);
  ASSERT_EQ(detector.load(good()), oznalib::StatusOk);
  detector.unload();
  EXPECT_EQ(detectInBlack(detector, detections), oznalib::StatusNotLoaded);
  EXPECT_EQ(detections.size(), 1U);
}

TEST(BuiltInLoad, WorksFromADirectoryThreeLevelsBesideTheTree) {
  const detector_test::HostDirectory directory(OZNA_SOURCE_DIR);
  Detector detector;
  EXPECT_EQ(detector.load(), oznalib::StatusOk);
  Detector other;
  EXPECT_EQ(loadDetector(other), oznalib::StatusOk);
  EXPECT_TRUE(other.is_loaded());
}

}  // namespace
