// Tests of mp::pca_map: file form, text form, the product.

#include "mp/pca_map.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

mp::pca_map threeToTwo() {
  mp::pca_map map;
  map.mean = mp::matrix(1, 3);
  std::copy_n(std::vector<float>{1, 2, 3}.data(), 3, map.mean.data);
  map.projection = mp::matrix(3, 2);
  std::copy_n(std::vector<float>{1, 10, 2, 20, 3, 30}.data(), 6, map.projection.data);
  return map;
}

TEST(PcaMap, ProjectsTheDifferenceFromTheMean) {
  const float x[] = {2, 4, 7};  // 1, 2 and 4 above the mean.
  float y[] = {-1, -1};
  threeToTwo().project(x, y);
  EXPECT_EQ(y[0], 1 * 1 + 2 * 2 + 4 * 3);
  EXPECT_EQ(y[1], 10 * 1 + 20 * 2 + 30 * 4);
}

TEST(PcaMap, ProjectionOfTheMeanIsZero) {
  const float x[] = {1, 2, 3};
  float y[] = {5, 5};
  threeToTwo().project(x, y);
  EXPECT_EQ(y[0], 0);
  EXPECT_EQ(y[1], 0);
}

TEST(PcaMap, ProjectsSeveralRowsLikeOneAfterTheOther) {
  const int inputs = 300;
  const int outputs = 17;
  const int count = 9;
  std::mt19937 random(5);
  std::uniform_real_distribution<float> uniform(-1, 1);
  mp::pca_map map;
  map.mean = mp::matrix(1, inputs);
  map.projection = mp::matrix(inputs, outputs);
  std::generate_n(map.mean.data, inputs, [&] { return uniform(random); });
  std::generate_n(map.projection.data, inputs * outputs, [&] { return uniform(random); });
  std::vector<float> x(inputs * count);
  for (float& value : x) {
    value = uniform(random);
  }
  std::vector<float> together(outputs * count);
  map.project_rows(x.data(), inputs, count, together.data(), outputs);
  for (int row = 0; row < count; ++row) {
    std::vector<float> single(outputs);
    map.project(x.data() + row * inputs, single.data());
    for (int n = 0; n < outputs; ++n) {
      double expected = 0;
      for (int k = 0; k < inputs; ++k) {
        expected += static_cast<double>(x[row * inputs + k] - map.mean.data[k]) *
                    map.projection.data[k * outputs + n];
      }
      EXPECT_NEAR(together[row * outputs + n], expected, 1e-4);
      EXPECT_NEAR(single[n], expected, 1e-4);
    }
  }
}

TEST(PcaMap, RowsMayLieFurtherApartThanTheyAreLong) {
  const float x[] = {2, 3, 5, 100, 3, 3, 5};  // 1, 1 and 2 above the mean, then 2, 1 and 2.
  float y[] = {-1, -1, -1, -1, -1};
  threeToTwo().project_rows(x, /*x_stride=*/4, 2, y, /*y_stride=*/3);
  EXPECT_THAT(y, testing::ElementsAre(9, 90, -1, 10, 100));
}

TEST(PcaMap, SliceAddsWhatItsInputsGive) {
  float x[] = {4, 5, -1, 3, 3};  // Of inputs 1 and 2: 2 and 2 above the mean, then 1 and 0.
  float y[] = {1, 1, -1, 0, 0};
  threeToTwo().add_slice(x, /*x_stride=*/3, /*count=*/2, /*first=*/1, /*inputs=*/2, y,
                         /*y_stride=*/3);
  EXPECT_THAT(y, testing::ElementsAre(11, 101, -1, 2, 20));
  EXPECT_THAT(x, testing::ElementsAre(2, 2, -1, 1, 0));
}

TEST(PcaMap, SliceOfOneRowAddsTheSame) {
  float x[] = {4, 5};
  float y[] = {1, 1};
  threeToTwo().add_slice(x, /*x_stride=*/2, /*count=*/1, /*first=*/1, /*inputs=*/2, y,
                         /*y_stride=*/2);
  EXPECT_THAT(y, testing::ElementsAre(11, 101));
}

TEST(PcaMap, SliceEndsWithTheInputsOfTheMap) {
  float x[] = {5, 9, 9, 4, 9, 9};
  float y[] = {0, 0, 0, 0};
  const mp::pca_map map = threeToTwo();
  map.add_slice(x, /*x_stride=*/3, /*count=*/2, /*first=*/2, /*inputs=*/3, y, /*y_stride=*/2);
  EXPECT_THAT(y, testing::ElementsAre(6, 60, 3, 30));
  map.add_slice(x, 3, 2, /*first=*/3, /*inputs=*/3, y, 2);
  EXPECT_THAT(y, testing::ElementsAre(6, 60, 3, 30));
  EXPECT_THAT(x, testing::ElementsAre(2, 9, 9, 1, 9, 9));
}

TEST(PcaMap, ReadsBackWhatItSaved) {
  std::stringstream stream;
  EXPECT_TRUE(threeToTwo().save(stream));
  EXPECT_EQ(stream.str().size(), 32U + 4 * (3 + 6));
  mp::pca_map loaded;
  EXPECT_TRUE(loaded.load(stream, -1));
  EXPECT_EQ(loaded.mean.rows, 1);
  EXPECT_EQ(loaded.mean.cols, 3);
  EXPECT_EQ(loaded.projection.rows, 3);
  EXPECT_EQ(loaded.projection.cols, 2);
  EXPECT_TRUE(std::equal(loaded.mean.data, loaded.mean.data + 3, threeToTwo().mean.data));
  EXPECT_TRUE(
      std::equal(loaded.projection.data, loaded.projection.data + 6, threeToTwo().projection.data));
}

TEST(PcaMap, LoadAnswersTrueThoughTheLimitRefusesBoth) {
  std::stringstream stream;
  threeToTwo().save(stream);
  mp::pca_map loaded;
  EXPECT_TRUE(loaded.load(stream, 1));
  EXPECT_FALSE(loaded.is_valid());
}

TEST(PcaMap, IsValidOnlyWithBothMatrices) {
  mp::pca_map map;
  EXPECT_FALSE(map.is_valid());
  map.mean = mp::matrix(1, 1);
  EXPECT_FALSE(map.is_valid());
  map.projection = mp::matrix(1, 1);
  EXPECT_TRUE(map.is_valid());
  map.mean = mp::matrix();
  EXPECT_FALSE(map.is_valid());
  EXPECT_STREQ(map.type_name(), "pca_map_mp");
}

TEST(PcaMap, PrintsBothMatricesWithTheirNames) {
  std::ostringstream out;
  testing::internal::CaptureStdout();
  threeToTwo().print(out);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "[1,3]\n[3,2]\n");
  EXPECT_EQ(out.str(), "[mean] 1 2 3 \n[projection] 1 10 \n2 20 \n3 30 \n");
}

}  // namespace
