// detect: from a caller's pixels to detections, with cascades whose results are known.

#include "ozna.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <vector>

#include "tests/detector/handmade_cascade.h"
#include "tests/detector/host_directory.h"

namespace {

using detector_test::borrow;
using detector_test::constantNet;
using detector_test::DenseNet;
using detector_test::writeFile;
using ozna_test::TemporaryFolder;
using oznalib::CascadeParameter;
using oznalib::Detection;
using oznalib::Detector;
using oznalib::Image;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<float> edges(const Detection& detection) {
  return {detection.rect.left, detection.rect.top, detection.rect.right, detection.rect.bottom};
}

std::vector<std::vector<float>> edgesOf(const std::vector<Detection>& detections) {
  std::vector<std::vector<float>> all;
  for (const Detection& detection : detections) all.push_back(edges(detection));
  return all;
}

Detector& load(Detector& detector, const std::string& root, const std::string& list) {
  const char* const root_text = root.c_str();
  const char* const list_text = list.c_str();
  EXPECT_EQ(detector.load(oznalib::DetectorParams(root_text, list_text)), oznalib::StatusOk);
  return detector;
}

// A cascade of one stage that finds pixels whose third byte is bright: the score is the logistic
// function of 0.04 * byte - 4, for one pixel in four. On 21 by 21 pixels the cells stand for boxes
// of 4 by 4 at 0, 3, 6, 10, 13 and 16; see the test of the driver.
class BrightPixels : public testing::Test {
 protected:
  BrightPixels() {
    DenseNet dense;
    dense.height = dense.width = 84;
    dense.stride = 4;
    dense.weights = {0, 0, 0, 0.04F, 0, 0};
    dense.bias = {0, -4};
    dense.write(directory_.root() + "first");
    detector_test::writeCalibration(directory_.root(), constantNet(2, {0.5, 0.5}), "0 0 1\n");
    writeFile(directory_.root() + "list", "first 0.4\n");
    load(detector_, directory_.root(), "list");
  }

  static CascadeParameter parameter() { return {1, 21, 4.5F / 21, 1, 2, 4}; }

  std::vector<Detection> find(const Image& image) {
    std::vector<Detection> detections;
    EXPECT_EQ(detect(image, detector_, detections, parameter()), oznalib::StatusOk);
    return detections;
  }

  // Two faces: (16, 16), the better one, and (6, 0).
  static cv::Mat twoFaces() {
    cv::Mat image = cv::Mat::zeros(21, 21, CV_8UC3);
    image.at<cv::Vec3b>(20, 20)[2] = 250;
    image.at<cv::Vec3b>(0, 8)[2] = 150;
    return image;
  }

  TemporaryFolder directory_;
  Detector detector_;
};

TEST_F(BrightPixels, ComeOutAsEdgesAndScoresBestFirst) {
  const std::vector<Detection> faces = find(borrow(twoFaces()));
  EXPECT_THAT(edgesOf(faces), ElementsAre(ElementsAre(16, 16, 20, 20), ElementsAre(6, 0, 10, 4)));
  EXPECT_NEAR(faces[0].score, detector_test::logistic(6), 1e-6);
  EXPECT_NEAR(faces[1].score, detector_test::logistic(2), 1e-6);
}

TEST_F(BrightPixels, AreAppendedBehindWhatTheVectorHolds) {
  const cv::Mat image = twoFaces();
  cv::Mat other = cv::Mat::zeros(21, 21, CV_8UC3);
  other.at<cv::Vec3b>(12, 12)[2] = 200;
  std::vector<Detection> detections;
  ASSERT_EQ(detect(borrow(other), detector_, detections, parameter()), oznalib::StatusOk);
  ASSERT_EQ(detect(borrow(image), detector_, detections, parameter()), oznalib::StatusOk);
  EXPECT_THAT(edgesOf(detections),
              ElementsAre(ElementsAre(10, 10, 14, 14), ElementsAre(16, 16, 20, 20),
                          ElementsAre(6, 0, 10, 4)));
}

TEST_F(BrightPixels, AreNoneInABlackImage) {
  EXPECT_THAT(find(borrow(cv::Mat::zeros(21, 21, CV_8UC3))), IsEmpty());
}

TEST_F(BrightPixels, AreTakenFromTheThirdByteOfAPixel) {
  cv::Mat image = cv::Mat::zeros(21, 21, CV_8UC3);
  image.at<cv::Vec3b>(8, 8) = cv::Vec3b(255, 255, 0);
  EXPECT_THAT(find(borrow(image)), IsEmpty());
}

TEST_F(BrightPixels, AreFoundInRowsWithPadding) {
  const cv::Mat faces = twoFaces();
  cv::Mat wide(21, 40, CV_8UC3, cv::Scalar(0, 0, 255));  // Bright padding.
  faces.copyTo(wide(cv::Rect(0, 0, 21, 21)));
  EXPECT_THAT(edgesOf(find({21, 21, 120, wide.data})), edgesOf(find(borrow(faces))));
}

TEST_F(BrightPixels, AreFoundInPackedRowsGivenAsStrideZero) {
  const cv::Mat faces = twoFaces();
  EXPECT_THAT(edgesOf(find({21, 21, 0, faces.data})),
              ElementsAre(ElementsAre(16, 16, 20, 20), ElementsAre(6, 0, 10, 4)));
}

TEST_F(BrightPixels, AreFoundInRowsThatGoUpwards) {
  // The last row comes first in memory, and the stride is negative.
  cv::Mat upside_down;
  cv::flip(twoFaces(), upside_down, 0);
  const Image image = {21, 21, -63, upside_down.ptr(20)};
  EXPECT_THAT(edgesOf(find(image)),
              ElementsAre(ElementsAre(16, 16, 20, 20), ElementsAre(6, 0, 10, 4)));
}

TEST_F(BrightPixels, AreFoundInLargeRowsThatGoUpwards) {
  // Large enough to be made smaller, so that rows are read while resizing.
  cv::Mat image = cv::Mat::zeros(63, 63, CV_8UC3);
  image(cv::Rect(24, 24, 3, 3)).setTo(cv::Scalar(0, 0, 250));
  cv::Mat upside_down;
  cv::flip(image, upside_down, 0);
  const std::vector<Detection> faces = find({63, 63, -189, upside_down.ptr(62)});
  // Pixel (8, 8) of the working image: the cell at 6, and three times that.
  EXPECT_THAT(edgesOf(faces), ElementsAre(ElementsAre(18, 18, 30, 30)));
}

TEST_F(BrightPixels, AreNotTouched) {
  cv::Mat image = detector_test::noiseImage(21, 21, 8);
  const cv::Mat before = image.clone();
  find(borrow(image));
  EXPECT_EQ(std::memcmp(image.data, before.data, 21 * 63), 0);
}

TEST_F(BrightPixels, AreFoundInAnImageOfOneRow) {
  // Doubled to 42 by 2, a map of 11 by 2 cells needs a stride of 1: a cascade of its own. The two
  // rows have no positions to be spread over.
  DenseNet dense;
  dense.height = dense.width = 64;
  dense.weights = {0, 0, 0, 0.04F, 0, 0};
  dense.bias = {0, -4};
  dense.write(directory_.root() + "every");
  writeFile(directory_.root() + "every_list", "every 0.4\n");
  Detector detector;
  load(detector, directory_.root(), "every_list");
  std::vector<unsigned char> row(63, 0);
  row[3 * 10 + 2] = 255;
  for (const std::int32_t stride : {0, 63, 80}) {
    std::vector<Detection> detections;
    ASSERT_EQ(
        detect({21, 1, stride, row.data()}, detector, detections, {2, 42, 1.5F / 42, 1, 2, 1}),
        oznalib::StatusOk);
    ASSERT_FALSE(detections.empty()) << stride;
    // Column c of 42 is cell c, at c * 40 / 41, halved: 20 and 21 become 9 or 10.
    for (const Detection& detection : detections) {
      EXPECT_GE(detection.rect.left, 9);
      EXPECT_LE(detection.rect.left, 10);
      EXPECT_EQ(detection.rect.top, 0);
    }
  }
}

TEST_F(BrightPixels, AreNoneInAnImageOfOneRowThatMakesOneRowOfCells) {
  std::vector<unsigned char> row(63, 255);
  EXPECT_THAT(find({21, 1, 0, row.data()}), IsEmpty());
}

TEST_F(BrightPixels, LetAnExceptionOfTheImageLibraryThrough) {
  std::vector<unsigned char> row(300, 255);
  std::vector<Detection> detections;
  // 100 by 1 at a fifth of its size has no rows.
  EXPECT_THROW(detect({100, 1, 0, row.data()}, detector_, detections, parameter()), cv::Exception);
  EXPECT_THROW(detect({0, 0, 0, nullptr}, detector_, detections, parameter()), cv::Exception);
  EXPECT_THAT(detections, IsEmpty());
  // The detector is as good as before.
  EXPECT_EQ(find(borrow(twoFaces())).size(), 2U);
}

// A sample photograph and the default cascade.

constexpr CascadeParameter kUsual = {2.0F, 640, 0.05F, 12, 1.26F, 13};

cv::Mat portrait() {
  const cv::Mat photograph = cv::imread(OZNA_SOURCE_DIR "/samples/astronaut.png");
  EXPECT_FALSE(photograph.empty());
  cv::Mat rgb;
  cv::cvtColor(photograph, rgb, cv::COLOR_BGR2RGB);
  return rgb;
}

std::vector<Detection> findWith(const Detector& detector, const cv::Mat& image) {
  std::vector<Detection> detections;
  EXPECT_EQ(detect(borrow(image), detector, detections, kUsual), oznalib::StatusOk);
  return detections;
}

TEST(DefaultCascade, FindsTheSameFacesWithFilesAndWithTables) {
  Detector files;
  load(files, OZNA_SOURCE_DIR "/public/", "stages.txt");
  Detector tables;
  {
    const detector_test::HostDirectory directory(OZNA_SOURCE_DIR);
    ASSERT_EQ(tables.load(), oznalib::StatusOk);
  }
  const cv::Mat image = portrait();
  const std::vector<Detection> of_files = findWith(files, image);
  const std::vector<Detection> of_tables = findWith(tables, image);
  ASSERT_FALSE(of_files.empty());
  EXPECT_EQ(edgesOf(of_files), edgesOf(of_tables));
  for (std::size_t i = 0; i < of_files.size(); ++i) {
    EXPECT_EQ(of_files[i].score, of_tables[i].score);
    EXPECT_GT(of_files[i].score, 0.98F);
    EXPECT_LE(of_files[i].score, 1.0F);
  }
  // The eyes stand at about (206, 113) and (245, 113).
  EXPECT_LT(of_files[0].rect.left, 206);
  EXPECT_GT(of_files[0].rect.right, 245);
}

TEST(DefaultCascade, GivesTheSameEachTime) {
  Detector detector;
  load(detector, OZNA_SOURCE_DIR "/public/", "stages.txt");
  const cv::Mat image = portrait();
  const std::vector<Detection> first = findWith(detector, image);
  findWith(detector, detector_test::noiseImage(100, 333, 3));
  const std::vector<Detection> second = findWith(detector, image);
  ASSERT_FALSE(first.empty());
  EXPECT_EQ(edgesOf(first), edgesOf(second));
  for (std::size_t i = 0; i < first.size(); ++i) EXPECT_EQ(first[i].score, second[i].score);
}

TEST(DefaultCascade, RefusesParametersThatOverrunTheFirstNetwork) {
  Detector detector;
  load(detector, OZNA_SOURCE_DIR "/public/", "stages.txt");
  // A smallest face of 12 pixels in 640 makes a working image of 693 by 693.
  std::vector<Detection> detections;
  const cv::Mat image = detector_test::noiseImage(640, 640, 4);
  testing::internal::CaptureStderr();
  EXPECT_EQ(detect(borrow(image), detector, detections, {2.0F, 640, 0.02F, 12, 1.26F, 13}),
            oznalib::StatusOk);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("693 by 693 pixels"));
  EXPECT_THAT(detections, IsEmpty());
}

// The entry points of alignment without a model; with one they are tested beside it.

TEST(AlignmentEntryPoints, GiveZerosWithoutAModel) {
  EXPECT_EQ(oznalib::unloadSDMModel(), oznalib::StatusOk);
  const cv::Mat image = detector_test::noiseImage(20, 20, 1);
  std::vector<float> points(3, 1.0F);
  EXPECT_EQ(align68Points(borrow(image), {2, 2, 12, 12}, points), oznalib::StatusOk);
  EXPECT_EQ(points, std::vector<float>(136, 0.0F));
  points.assign(3, 1.0F);
  EXPECT_EQ(align5Points(borrow(image), {2, 2, 12, 12}, points), oznalib::StatusOk);
  EXPECT_EQ(points, std::vector<float>(10, 0.0F));
}

TEST(AlignmentEntryPoints, FailToLoadAFileThatIsMissing) {
  const TemporaryFolder empty;
  EXPECT_EQ(oznalib::loadSDMModel(empty.root(), "model"), oznalib::StatusLoadFailed);
  EXPECT_EQ(oznalib::unloadSDMModel(), oznalib::StatusOk);
}

}  // namespace
