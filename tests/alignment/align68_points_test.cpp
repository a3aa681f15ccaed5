// Tests of the geometry around the regression, and of whole placements through the model slot.

#include "alignment/align68_points.h"

#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "alignment/align5_points.h"
#include "alignment/landmark_groups.h"
#include "tests/alignment/synthetic_model.h"

namespace {

using oznalib::AlignmentWindow;
using oznalib::cutAlignmentWindow;
using oznalib::placeLandmarks68;
using oznalib::SDMModel;
using oznalib::StatusOk;
using oznalib::unloadModelSlot;
using Box = oznalib::Rectangle<float>;
using synthetic::ModelFile;
using synthetic::texturedImage;
using synthetic::view;

const float kInfinity = std::numeric_limits<float>::infinity();

// All 68 landmarks in the middle of the face box; no stages, so that they stay there.
SDMModel middleModel() {
  SDMModel model;
  model.meanShape.assign(136, 0.5F);
  return model;
}

class Align68 : public testing::Test {
 protected:
  ~Align68() override { unloadModelSlot(); }

  static std::vector<float> place(const cv::Mat& image, const Box& rect) {
    std::vector<float> points = {1, 2, 3};
    EXPECT_EQ(placeLandmarks68(view(image), rect, points), StatusOk);
    EXPECT_EQ(points.size(), 136U);
    return points;
  }
};

TEST(CutAlignmentWindow, LargeFaceInAnImageOfTheSizeIsNeitherCutNorScaled) {
  const cv::Mat image = texturedImage(250, 250, 3, 1);
  const AlignmentWindow window = cutAlignmentWindow(view(image), {50, 50, 200, 200});
  EXPECT_EQ(window.image.data, image.data);
  EXPECT_EQ(window.scale_x, 1);
  EXPECT_EQ(window.scale_y, 1);
  EXPECT_EQ(window.crop_left, 0);
  EXPECT_EQ(window.crop_top, 0);
  // 150 by 150: margins 15 and 22.5; 50 - 7.5, 50 + 22.5, 150 + 30, 150 + 45.
  EXPECT_EQ(window.box, cv::Rect(42, 72, 180, 195));
}

TEST(CutAlignmentWindow, FaceOfExactlyHalfTheImageIsNotCut) {
  const cv::Mat image = texturedImage(401, 300, 3, 2);
  const AlignmentWindow window = cutAlignmentWindow(view(image), {100, 100, 300, 250});
  EXPECT_EQ(window.crop_left, 0);
  EXPECT_EQ(window.crop_top, 0);
  EXPECT_EQ(window.scale_x, 250.0F / 401.0F);
  EXPECT_EQ(window.scale_y, 250.0F / 300.0F);
  EXPECT_EQ(window.image.size(), cv::Size(250, 250));
}

TEST(CutAlignmentWindow, SmallFaceIsCutWithHalfItsSizeAround) {
  const cv::Mat image = texturedImage(1000, 800, 3, 3);
  const AlignmentWindow window = cutAlignmentWindow(view(image), {400.5F, 300, 525.5F, 425});
  EXPECT_EQ(window.crop_left, 338);  // 400.5 - 62.5.
  EXPECT_EQ(window.crop_top,
            237.5F);  // 300 - 62.5: the cut drops the half, the coordinates keep it.
  EXPECT_EQ(window.scale_x, 1);
  EXPECT_EQ(window.scale_y, 1);
  // A 250 by 250 window needs no scaling and shares the pixels of the photograph.
  EXPECT_EQ(window.image.data, image.ptr<std::uint8_t>(237) + 3 * 338);
  EXPECT_FALSE(window.image.isContinuous());
  // In the window: 62.5 to 187.5 in both directions. Margins 12.5 and 18.75.
  EXPECT_EQ(window.box, cv::Rect(55, 80, 150, 162));
}

TEST(CutAlignmentWindow, SmallInOneDirectionIsEnoughToCut) {
  const cv::Mat image = texturedImage(400, 400, 3, 3);
  EXPECT_EQ(cutAlignmentWindow(view(image), {0, 100, 390, 200}).crop_top, 50);
  EXPECT_EQ(cutAlignmentWindow(view(image), {100, 0, 200, 390}).crop_left, 50);
}

TEST(CutAlignmentWindow, TopLeftCornerIsClampedToZero) {
  const cv::Mat image = texturedImage(600, 600, 3, 4);
  const AlignmentWindow window = cutAlignmentWindow(view(image), {10, 20, 110, 120});
  EXPECT_EQ(window.crop_left, 0);
  EXPECT_EQ(window.crop_top, 0);
  EXPECT_EQ(window.scale_x, 250.0F / 160.0F);
  EXPECT_EQ(window.scale_y, 250.0F / 170.0F);
}

TEST(CutAlignmentWindow, BottomRightEndsOnePixelShortOfTheEdge) {
  const cv::Mat image = texturedImage(600, 500, 3, 5);
  const AlignmentWindow window = cutAlignmentWindow(view(image), {480, 400, 580, 500});
  EXPECT_EQ(window.crop_left, 430);
  EXPECT_EQ(window.crop_top, 350);
  EXPECT_EQ(window.scale_x, 250.0F / (599 - 430));
  EXPECT_EQ(window.scale_y, 250.0F / (499 - 350));
  // A margin that ends exactly on the edge has run out as well.
  EXPECT_EQ(cutAlignmentWindow(view(image), {450, 100, 550, 200}).scale_x, 250.0F / (599 - 400));
  EXPECT_EQ(cutAlignmentWindow(view(image), {449, 100, 549, 200}).scale_x, 250.0F / 200);
}

TEST(CutAlignmentWindow, RectangleWithoutWidthStandsForTheMiddle) {
  const cv::Mat image = texturedImage(400, 300, 3, 6);
  const float nan = std::nanf("");
  for (const Box& rect :
       {Box{100, 100, 100, 200}, Box{200, 100, 100, 200}, Box{nan, 0, 9, 9}, Box{0, nan, 9, 9},
        Box{0, 0, 9, nan}, Box{-kInfinity, 0, kInfinity, 9}, Box{0, 0, kInfinity, 9}}) {
    const AlignmentWindow window = cutAlignmentWindow(view(image), rect);
    EXPECT_EQ(window.crop_left, 0);
    EXPECT_EQ(window.scale_x, 250.0F / 400);
    EXPECT_EQ(window.scale_y, 250.0F / 300);
    // Measured in the image, not in the window: 181 by 136 at (109, 82). Margins 18.1 and 20.4.
    EXPECT_EQ(window.box, cv::Rect(99, 102, 217, 176));
  }
}

TEST(CutAlignmentWindow, WindowWithoutAreaIsRefused) {
  const cv::Mat image = texturedImage(400, 300, 3, 7);
  for (const Box& rect :
       {Box{500, 100, 600, 200}, Box{-300, 100, -200, 200}, Box{100, 400, 200, 500},
        Box{100, -500, 200, -300}, Box{100, 100, 200, 100}, Box{100, 200, 200, 100},
        Box{100, 100, 100.01F, 200}}) {
    EXPECT_THROW(cutAlignmentWindow(view(image), rect), cv::Exception)
        << rect.left << " " << rect.top;
  }
  EXPECT_THROW(cutAlignmentWindow({0, 5, 0, image.data}, {0, 0, 1, 1}), cv::Exception);
  EXPECT_THROW(cutAlignmentWindow({5, -1, 0, image.data}, {0, 0, 1, 1}), cv::Exception);
}

TEST(CutAlignmentWindow, PartlyOutsideIsClampedAndKeepsItsCoordinates) {
  const cv::Mat image = texturedImage(400, 300, 3, 7);
  const AlignmentWindow window = cutAlignmentWindow(view(image), {-40, 100, 60, 200});
  EXPECT_EQ(window.crop_left, 0);
  EXPECT_EQ(window.scale_x, 250.0F / 110);  // From 0 to 60 + 50.
  // Left at -40 * 250 / 110 = -90.9, cut to -90; 227 wide: -90 - 11.35, cut to -101.
  EXPECT_EQ(window.box.x, -101);
}

TEST(CutAlignmentWindow, MapsPointsThereAndBack) {
  const cv::Mat image = texturedImage(900, 700, 3, 8);
  const AlignmentWindow window = cutAlignmentWindow(view(image), {301.3F, 200.7F, 391.9F, 322.2F});
  const std::vector<float> points = {310, 220, 380.5F, 300.25F};
  std::vector<float> back;
  mapToPhotograph(window, mapToWindow(window, points), 4, back);
  ASSERT_EQ(back.size(), 4U);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_NEAR(back[i], points[i], 1e-3F);
  }
}

TEST(MakeGreyUnit, TakesTheFirstByteAsRed) {
  cv::Mat image(250, 250, CV_8UC3, cv::Scalar(200, 0, 0));
  const auto unit = makeGreyUnit(cutAlignmentWindow(view(image), {50, 50, 200, 200}));
  EXPECT_EQ(unit.image.type(), CV_8UC1);
  EXPECT_EQ(unit.image.at<std::uint8_t>(7, 7), 60);  // 0.299 * 200 = 59.8.
  EXPECT_EQ(unit.box, cv::Rect(42, 72, 180, 195));
  EXPECT_TRUE(unit.shape.empty());
}

TEST_F(Align68, WithoutAModelAllPointsAreZero) {
  const cv::Mat image = texturedImage(300, 300, 3, 1);
  EXPECT_EQ(place(image, {50, 50, 200, 200}), std::vector<float>(136, 0.0F));
  EXPECT_EQ(place(image, {900, 50, 950, 200}), std::vector<float>(136, 0.0F));
  ASSERT_EQ(oznalib::loadModelSlot("/", "ozna_no_such_file.sdm"), oznalib::StatusLoadFailed);
  EXPECT_EQ(place(image, {50, 50, 200, 200}), std::vector<float>(136, 0.0F));
}

TEST_F(Align68, OtherNumbersOfLandmarksStayWithinTheirLists) {
  const cv::Mat image = texturedImage(250, 250, 3, 1);
  SDMModel model = middleModel();
  model.meanShape.resize(134);
  ASSERT_EQ(ModelFile(model).load(), StatusOk);
  EXPECT_EQ(place(image, {50, 50, 200, 200}), std::vector<float>(136, 0.0F));
  model.meanShape.assign(140, 0.5F);  // The first 68 of 70 are given.
  ASSERT_EQ(ModelFile(model).load(), StatusOk);
  EXPECT_NEAR(place(image, {50, 50, 200, 200})[135], 169.2F, 1e-3F);
}

TEST_F(Align68, StagesOfMoreFeaturesThanThereAreGiveZeros) {
  const cv::Mat image = texturedImage(250, 250, 3, 1);
  SDMModel model = middleModel();
  model.stageMaps.resize(1);
  model.stageMaps[0].mean = mp::matrix(1, 68 * 128 + 1);
  model.stageMaps[0].projection = mp::matrix(68 * 128 + 1, 136);
  ASSERT_EQ(ModelFile(model).load(), StatusOk);
  EXPECT_EQ(place(image, {50, 50, 200, 200}), std::vector<float>(136, 0.0F));
}

// The face box (42, 72, 180, 195) is scaled by 100 / 180 to (23, 40, 100, 108): its middle is (73,
// 94), which is (131.4, 169.2) at the original scale.
TEST_F(Align68, PlacesTheMiddleOfTheFaceBox) {
  ASSERT_EQ(ModelFile(middleModel()).load(), StatusOk);
  const std::vector<float> points = place(texturedImage(250, 250, 3, 1), {50, 50, 200, 200});
  for (std::size_t i = 0; i < points.size(); i += 2) {
    EXPECT_NEAR(points[i], 131.4F, 1e-3F);
    EXPECT_NEAR(points[i + 1], 169.2F, 1e-3F);
  }
}

// Window of 200 by 250 pixels from (300, 199.5), widened by 1.25 in x. The rectangle spans 62.5 to
// 187.5 and 62.5 to 187.5 there; the face box is (55, 80, 150, 162), scaled by 2 / 3 to (36, 53,
// 100, 108), with its middle at (86, 107), which is (129, 160.5) in the window.
TEST_F(Align68, MapsBackThroughScaleAndCrop) {
  ASSERT_EQ(ModelFile(middleModel()).load(), StatusOk);
  const std::vector<float> points = place(texturedImage(1000, 900, 3, 2), {350, 262, 450, 387});
  EXPECT_NEAR(points[0], 300 + 129 / 1.25F, 2e-3F);
  EXPECT_NEAR(points[1], 199.5F + 160.5F, 2e-3F);
}

TEST_F(Align68, StrideIsIgnored) {
  ASSERT_EQ(ModelFile(synthetic::randomModel(68, {1}, 0.002F, 4)).load(), StatusOk);
  const cv::Mat image = texturedImage(260, 240, 3, 2);
  oznalib::Image strided = view(image);
  strided.stride = 5000;
  std::vector<float> points;
  placeLandmarks68(strided, {60, 60, 180, 180}, points);
  EXPECT_EQ(points, place(image, {60, 60, 180, 180}));
}

TEST_F(Align68, SecondCallYieldsTheSamePoints) {
  ASSERT_EQ(ModelFile(synthetic::randomModel(68, {2, 1, 0}, 0.002F, 4)).load(), StatusOk);
  const cv::Mat image = texturedImage(500, 400, 3, 2);
  const std::vector<float> first = place(image, {160, 120, 300, 260});
  EXPECT_EQ(place(image, {160, 120, 300, 260}), first);
}

TEST_F(Align68, ZeroMapsGiveTheMeanShapeInThePhotograph) {
  SDMModel model = synthetic::randomModel(68, {2, 2, 1, 1, 0}, 0.0F, 7);
  ASSERT_EQ(ModelFile(model).load(), StatusOk);
  const Box rect = {160, 120, 300, 260};
  const std::vector<float> points = place(texturedImage(700, 600, 3, 2), rect);
  // The face box in the photograph, up to the pixels that the cuts to integers drop in the window
  // of 250 / 280.
  const float left = 160 - 0.05F * 140;
  const float top = 120 + 0.15F * 140;
  for (std::size_t i = 0; i < 136; i += 2) {
    EXPECT_NEAR(points[i], left + model.meanShape[i] * 1.2F * 140, 4.0F);
    EXPECT_NEAR(points[i + 1], top + model.meanShape[i + 1] * 1.3F * 140, 4.0F);
  }
}

TEST_F(Align68, TinyImagesAndBlackImagesStayDefined) {
  ASSERT_EQ(ModelFile(synthetic::randomModel(68, {2, 1, 0}, 0.01F, 4)).load(), StatusOk);
  for (const int side : {1, 2, 3, 8, 12}) {
    place(texturedImage(side, side, 3, 1), {0, 0, 0, 0});
    place(texturedImage(side, side, 3, 1),
          {0, 0, static_cast<float>(side), static_cast<float>(side)});
  }
  place(cv::Mat(300, 300, CV_8UC3, cv::Scalar::all(0)), {100, 100, 200, 200});
}

// Faces far larger than the image shrink it to nothing, which the image library refuses.
TEST_F(Align68, HugeRectanglesAreRefusedByTheImageLibrary) {
  ASSERT_EQ(ModelFile(middleModel()).load(), StatusOk);
  const cv::Mat image = texturedImage(300, 300, 3, 1);
  std::vector<float> points;
  for (const float huge : {1e6F, 1e20F, 3e38F}) {
    EXPECT_THROW(placeLandmarks68(view(image), {-huge, -huge, huge, huge}, points), cv::Exception);
    EXPECT_THROW(placeLandmarks68(view(image), {0, 0, huge, huge}, points), cv::Exception);
  }
}

using Align68Threads = Align68;

TEST_F(Align68Threads, ShareTheModel) {
  ASSERT_EQ(ModelFile(synthetic::randomModel(68, {1, 0}, 0.002F, 4)).load(), StatusOk);
  const cv::Mat image = texturedImage(400, 400, 3, 2);
  const Box rect = {120, 120, 250, 260};
  const std::vector<float> expected = place(image, rect);
  std::vector<std::vector<float>> results(8);
  std::vector<std::thread> threads;
  for (std::vector<float>& result : results) {
    threads.emplace_back([&] { placeLandmarks68(view(image), rect, result); });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  for (const std::vector<float>& result : results) {
    ASSERT_EQ(result.size(), expected.size());
    for (std::size_t i = 0; i < result.size(); ++i) {
      EXPECT_NEAR(result[i], expected[i], 0.01F);
    }
  }
}

}  // namespace
