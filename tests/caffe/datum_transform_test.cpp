// Tests of what happens to one record on its way to a batch.

#include "caffe/util/datum_transform.hpp"

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "tests/caffe/data_test_helpers.h"

namespace caffe_test {
namespace {

using caffe::Datum;
using caffe::DatumSize;
using caffe::DatumTransform;
using caffe::TransformDatum;
using testing::HasSubstr;

// A transform of 2 by 4 by 5 values with a mean of zeros.
class Transforming : public testing::Test {
 protected:
  std::vector<float> of(const Datum& datum, const DatumTransform& transform,
                        std::vector<unsigned> draws = {}) {
    const int side = transform.crop_size;
    std::vector<float> output(static_cast<std::size_t>(side > 0 ? 2 * side * side : 40));
    std::size_t drawn = 0;
    TransformDatum(
        datum, transform, [&] { return draws.at(drawn++); }, output.data());
    EXPECT_EQ(drawn, draws.size());
    return output;
  }
  std::vector<float> mean_ = std::vector<float>(40, 0.0F);
  const Datum datum_ = ByteDatum(2, 4, 5, 0, 0, 1);
  const DatumTransform whole_ = {2, 4, 5, 1, 0, false, false, mean_.data()};
};

TEST_F(Transforming, WholeImagesGoThroughLessTheMeanTimesTheScale) {
  EXPECT_EQ(of(datum_, whole_), ValuesOf(datum_));
  mean_[39] = 3;
  DatumTransform transform = whole_;
  transform.scale = 0.5F;
  const std::vector<float> output = of(datum_, transform);
  EXPECT_EQ(output[0], 0);
  EXPECT_EQ(output[38], 19);
  EXPECT_EQ(output[39], 18);
}

TEST_F(Transforming, CropsStandInTheMiddleWithoutDraws) {
  DatumTransform transform = whole_;
  transform.crop_size = 2;
  // One row and one column of 3 free ones to the left and above.
  EXPECT_EQ(of(datum_, transform), CropOf(ValuesOf(datum_), 2, 4, 5, 2, 1, 1, false));
}

TEST_F(Transforming, DrawsPlaceTheRowThenTheColumnThenTheMirror) {
  DatumTransform transform = whole_;
  transform.crop_size = 2;
  transform.random_crop = transform.mirror = true;
  // Two free rows, three free columns; odd draws mirror.
  EXPECT_EQ(of(datum_, transform, {3, 5, 7}), CropOf(ValuesOf(datum_), 2, 4, 5, 2, 1, 2, true));
  EXPECT_EQ(of(datum_, transform, {2, 3, 8}), CropOf(ValuesOf(datum_), 2, 4, 5, 2, 0, 0, false));
}

TEST_F(Transforming, FloatsAreTakenWhereThereAreNoBytes) {
  Datum datum = ShapedDatum(2, 4, 5, 0);
  for (int i = 0; i < 40; ++i) datum.add_float_data(-0.5F * static_cast<float>(i));
  const std::vector<float> output = of(datum, whole_);
  EXPECT_EQ(output[39], -19.5F);
}

using TransformingDeathTest = Transforming;

TEST_F(TransformingDeathTest, EndsForRecordsThatDoNotFit) {
  EXPECT_DEATH(of(ByteDatum(2, 5, 4, 0, 0), whole_),
               HasSubstr("A record of shape 2 x 5 x 4 among records of shape 2 x 4 x 5"));
  Datum cut = datum_;
  cut.mutable_data()->pop_back();
  EXPECT_DEATH(of(cut, whole_), HasSubstr("A record has fewer values than its shape."));
  DatumTransform cropped = whole_;
  cropped.crop_size = 2;
  EXPECT_DEATH(of(ShapedDatum(2, 4, 5, 0), cropped), HasSubstr("only support uint8 data"));
}

TEST(DatumSize, IsTheProductWithin32Bits) {
  EXPECT_EQ(DatumSize(2, 3, 4), 24);
  EXPECT_EQ(DatumSize(0, 100000, 100000), 0);
  EXPECT_EQ(DatumSize(1, 1, std::numeric_limits<int>::max()), std::numeric_limits<int>::max());
}

TEST(DatumSizeDeathTest, EndsForNegativeAndLargerOnes) {
  EXPECT_DEATH(DatumSize(-1, 1, 1), HasSubstr("channels >= 0"));
  EXPECT_DEATH(DatumSize(2, 32768, 32768), HasSubstr("A record is too large: 2 x 32768 x 32768"));
}

}  // namespace
}  // namespace caffe_test
