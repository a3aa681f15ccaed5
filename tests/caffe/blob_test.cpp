// Tests of Blob: shape, memory, sharing, and its form in messages.

#include "caffe/blob.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "tests/caffe/test_helpers.h"

namespace caffe {
namespace {

using caffe_test::DataOf;
using caffe_test::DiffOf;
using caffe_test::SetData;
using caffe_test::SetDiff;
using caffe_test::ShapeOf;

BlobProto MakeProto(int num, int channels, int height, int width, int value_count) {
  BlobProto proto;
  proto.set_num(num);
  proto.set_channels(channels);
  proto.set_height(height);
  proto.set_width(width);
  for (int i = 0; i < value_count; ++i) {
    proto.add_data(i + 0.5F);
  }
  return proto;
}

TEST(Blob, IsEmptyByDefault) {
  Blob<float> blob;
  EXPECT_EQ((std::vector<int>{0, 0, 0, 0}), ShapeOf(blob));
  EXPECT_EQ(0, blob.count());
  EXPECT_FALSE(blob.data_);
  EXPECT_FALSE(blob.diff_);
}

TEST(Blob, HasTheProductOfItsSizesAsCount) {
  Blob<float> blob(2, 3, 4, 5);
  EXPECT_EQ((std::vector<int>{2, 3, 4, 5}), ShapeOf(blob));
  EXPECT_EQ(120, blob.count());
  EXPECT_EQ(480U, blob.data()->size());
  EXPECT_EQ(480U, blob.diff()->size());
}

TEST(Blob, AllocatesNeitherBlockBeforeItIsTouched) {
  Blob<float> blob(1, 1, 2, 2);
  EXPECT_EQ(SyncedMemory::UNINITIALIZED, blob.data()->head());
  blob.cpu_data();
  EXPECT_EQ(SyncedMemory::HEAD_AT_CPU, blob.data()->head());
  EXPECT_EQ(SyncedMemory::UNINITIALIZED, blob.diff()->head());
}

TEST(Blob, ReadsAsZerosWhenFresh) {
  Blob<float> blob(1, 2, 3, 4);
  EXPECT_EQ(std::vector<float>(24, 0.0F), DataOf(blob));
  EXPECT_EQ(std::vector<float>(24, 0.0F), DiffOf(blob));
}

TEST(Blob, HoldsNoMemoryWithAZeroSize) {
  for (int axis = 0; axis < 4; ++axis) {
    int size[] = {2, 2, 2, 2};
    size[axis] = 0;
    Blob<float> blob(size[0], size[1], size[2], size[3]);
    EXPECT_EQ(0, blob.count());
    EXPECT_FALSE(blob.data_);
    EXPECT_FALSE(blob.diff_);
  }
}

TEST(Blob, LosesItsValuesOnReshapeEvenToTheSameShape) {
  Blob<float> blob(1, 1, 1, 3);
  SetData(&blob, {1, 2, 3});
  blob.Reshape(1, 1, 1, 3);
  EXPECT_EQ(std::vector<float>(3, 0.0F), DataOf(blob));
}

TEST(Blob, DropsItsBlocksOnReshapeToNothing) {
  Blob<float> blob(1, 1, 1, 3);
  blob.Reshape(1, 0, 1, 3);
  EXPECT_FALSE(blob.data_);
  EXPECT_EQ((std::vector<int>{1, 0, 1, 3}), ShapeOf(blob));
}

TEST(Blob, KeepsItsBlocksWhenTheShapeIsOverwritten) {
  Blob<float> blob(1, 2, 4, 4);
  const float* values = blob.cpu_data();
  blob.OverwriteShape(1, 2, 3, 2);
  EXPECT_EQ((std::vector<int>{1, 2, 3, 2}), ShapeOf(blob));
  EXPECT_EQ(12, blob.count());
  EXPECT_EQ(values, blob.cpu_data());
  EXPECT_EQ(128U, blob.data()->size());
}

TEST(Blob, GivesRowMajorOffsetsWithWidthFastest) {
  Blob<float> blob(2, 3, 4, 5);
  EXPECT_EQ(0, blob.offset(0));
  EXPECT_EQ(1, blob.offset(0, 0, 0, 1));
  EXPECT_EQ(5, blob.offset(0, 0, 1));
  EXPECT_EQ(20, blob.offset(0, 1));
  EXPECT_EQ(60, blob.offset(1));
  EXPECT_EQ(((1 * 3 + 2) * 4 + 3) * 5 + 4, blob.offset(1, 2, 3, 4));
}

TEST(Blob, AcceptsOffsetsEqualToTheExtent) {
  Blob<float> blob(2, 3, 4, 5);
  EXPECT_EQ(120, blob.offset(2));
  EXPECT_EQ(60, blob.offset(0, 3, 0, 0));
  EXPECT_EQ(20, blob.offset(0, 0, 4, 0));
  EXPECT_EQ(5, blob.offset(0, 0, 0, 5));
}

TEST(Blob, AcceptsNegativeOffsetsOnAllButTheFirstAxis) {
  Blob<float> blob(2, 3, 4, 5);
  EXPECT_EQ(60 - 20, blob.offset(1, -1));
  EXPECT_EQ(60 - 5, blob.offset(1, 0, -1));
  EXPECT_EQ(60 - 1, blob.offset(1, 0, 0, -1));
}

TEST(BlobDeathTest, RefusesOffsetsBeyondTheExtent) {
  Blob<float> blob(2, 3, 4, 5);
  EXPECT_DEATH(blob.offset(-1), "Check failed: n >= 0 ");
  EXPECT_DEATH(blob.offset(3), "Check failed: n <= num_ ");
  EXPECT_DEATH(blob.offset(0, 4), "Check failed: c <= channels_ ");
  EXPECT_DEATH(blob.offset(0, 0, 5), "Check failed: h <= height_ ");
  EXPECT_DEATH(blob.offset(0, 0, 0, 6), "Check failed: w <= width_ ");
}

TEST(BlobDeathTest, ChecksTheExtentsOfOffsetsToo) {
  Blob<float> blob(1, 1, 1, 1);
  blob.channels_ = -1;
  EXPECT_DEATH(blob.offset(0), "Check failed: channels_ >= 0 ");
  blob.channels_ = 1;
  blob.height_ = -1;
  EXPECT_DEATH(blob.offset(0), "Check failed: height_ >= 0 ");
  blob.height_ = 1;
  blob.width_ = -1;
  EXPECT_DEATH(blob.offset(0), "Check failed: width_ >= 0 ");
}

TEST(BlobDeathTest, RefusesNegativeSizesInOrder) {
  Blob<float> blob;
  EXPECT_DEATH(blob.Reshape(-1, -1, -1, -1), "Check failed: num >= 0 ");
  EXPECT_DEATH(blob.Reshape(0, -1, -1, -1), "Check failed: channels >= 0 ");
  EXPECT_DEATH(blob.Reshape(0, 0, -1, -1), "Check failed: height >= 0 ");
  EXPECT_DEATH(blob.Reshape(0, 0, 0, -1), "Check failed: width >= 0 ");
}

TEST(BlobDeathTest, RefusesSizesWhoseProductNeedsMoreThan32Bits) {
  Blob<float> blob;
  // 65536 * 65536 wraps to 0 in 32 bits, 46341^2 to a negative number, 2147483647^4 to 1.
  EXPECT_DEATH(blob.Reshape(1, 1, 65536, 65536), "Blob too large: 1 x 1 x 65536 x 65536");
  EXPECT_DEATH(blob.Reshape(1, 1, 46341, 46341), "Blob too large: 1 x 1 x 46341 x 46341");
  EXPECT_DEATH(blob.Reshape(2147483647, 2147483647, 2147483647, 2147483647),
               "Blob too large: 2147483647 x 2147483647 x 2147483647 x 2147483647");
}

TEST(Blob, AcceptsTheLargestCountWithoutTouchingMemory) {
  Blob<float> blob(2147483647, 1, 1, 1);
  EXPECT_EQ(2147483647, blob.count());
  EXPECT_EQ(8589934588U, blob.data()->size());
}

TEST(BlobDeathTest, HasNoValuesWithoutElements) {
  Blob<float> blob(1, 0, 2, 2);
  EXPECT_DEATH(blob.cpu_data(), "Check failed: data_ ");
  EXPECT_DEATH(blob.mutable_cpu_data(), "Check failed: data_ ");
  EXPECT_DEATH(blob.data(), "Check failed: data_ ");
  EXPECT_DEATH(blob.cpu_diff(), "Check failed: diff_ ");
  EXPECT_DEATH(blob.mutable_cpu_diff(), "Check failed: diff_ ");
  EXPECT_DEATH(blob.diff(), "Check failed: diff_ ");
}

TEST(Blob, WorksOnMemoryOfTheCaller) {
  std::vector<float> foreign = {1, 2, 3};
  Blob<float> blob(1, 1, 1, 3);
  blob.mutable_cpu_data()[0] = 7;
  blob.set_cpu_data(foreign.data());
  EXPECT_EQ(foreign, DataOf(blob));
  blob.mutable_cpu_data()[2] = 4;
  EXPECT_EQ(4, foreign[2]);
}

TEST(BlobDeathTest, RefusesNullMemoryOfTheCaller) {
  Blob<float> blob(1, 1, 1, 1);
  EXPECT_DEATH(blob.set_cpu_data(nullptr), "Check failed: data ");
}

TEST(Blob, SharesValuesAndGradientsSeparately) {
  Blob<float> source(1, 2, 1, 3);
  Blob<float> sharer(1, 1, 2, 3);
  sharer.ShareData(source);
  EXPECT_EQ(source.data(), sharer.data());
  EXPECT_NE(source.diff(), sharer.diff());
  source.mutable_cpu_data()[4] = 5;
  EXPECT_EQ(5, sharer.cpu_data()[4]);
  sharer.ShareDiff(source);
  EXPECT_EQ(source.diff(), sharer.diff());
}

TEST(Blob, KeepsSharedMemoryBeyondItsFirstOwner) {
  Blob<float> sharer(1, 1, 1, 2);
  {
    Blob<float> source(1, 1, 1, 2);
    SetData(&source, {3, 4});
    sharer.ShareData(source);
  }
  EXPECT_EQ((std::vector<float>{3, 4}), DataOf(sharer));
}

TEST(BlobDeathTest, SharesOnlyWithABlobOfTheSameCount) {
  Blob<float> source(1, 1, 1, 2);
  Blob<float> sharer(1, 1, 1, 3);
  EXPECT_DEATH(sharer.ShareData(source), "Check failed: count_ == other.count\\(\\) \\(3 vs. 2\\)");
  EXPECT_DEATH(sharer.ShareDiff(source), "Check failed: count_ == other.count\\(\\) \\(3 vs. 2\\)");
}

TEST(Blob, TakesShapeAndValuesFromAProto) {
  Blob<float> blob(9, 9, 1, 1);
  blob.FromProto(MakeProto(1, 2, 1, 2, 4));
  EXPECT_EQ((std::vector<int>{1, 2, 1, 2}), ShapeOf(blob));
  EXPECT_EQ((std::vector<float>{0.5F, 1.5F, 2.5F, 3.5F}), DataOf(blob));
}

TEST(Blob, LeavesGradientsUntouchedIfTheProtoHasNone) {
  Blob<float> blob(1, 1, 1, 2);
  SetDiff(&blob, {8, 9});
  blob.FromProto(MakeProto(1, 1, 1, 2, 2));
  EXPECT_EQ(SyncedMemory::UNINITIALIZED, blob.diff()->head());
  blob.mutable_cpu_diff();
  EXPECT_EQ(std::vector<float>(2, 0.0F), DiffOf(blob));
}

TEST(Blob, TakesGradientsFromAProto) {
  BlobProto proto = MakeProto(1, 1, 1, 2, 2);
  proto.add_diff(-1);
  proto.add_diff(-2);
  Blob<float> blob;
  blob.FromProto(proto);
  EXPECT_EQ((std::vector<float>{-1, -2}), DiffOf(blob));
}

TEST(Blob, IgnoresValuesOfAProtoBeyondItsShape) {
  Blob<float> blob;
  blob.FromProto(MakeProto(1, 1, 1, 2, 5));
  EXPECT_EQ((std::vector<float>{0.5F, 1.5F}), DataOf(blob));
}

TEST(BlobDeathTest, RefusesAProtoWithTooFewValues) {
  Blob<float> blob;
  EXPECT_DEATH(blob.FromProto(MakeProto(2, 1, 2, 3, 11)),
               "Too few values for a blob of shape 2 x 1 x 2 x 3: expected 12, found 11");
  BlobProto proto = MakeProto(1, 1, 1, 3, 3);
  proto.add_diff(1);
  EXPECT_DEATH(blob.FromProto(proto),
               "Too few gradients for a blob of shape 1 x 1 x 1 x 3: expected 3, found 1");
}

TEST(BlobDeathTest, RefusesAProtoOfNegativeOrNoSize) {
  Blob<float> blob;
  EXPECT_DEATH(blob.FromProto(MakeProto(1, -2, 1, 1, 0)), "Check failed: channels >= 0 ");
  EXPECT_DEATH(blob.FromProto(MakeProto(0, 0, 0, 0, 0)), "Check failed: data_ ");
}

TEST(Blob, WritesShapeAndValuesButNoGradientsByDefault) {
  Blob<float> blob(1, 2, 1, 1);
  SetData(&blob, {4, 5});
  SetDiff(&blob, {6, 7});
  BlobProto proto = MakeProto(3, 3, 3, 3, 6);  // Former contents, to be replaced.
  proto.add_diff(1);
  blob.ToProto(&proto);
  EXPECT_EQ(1, proto.num());
  EXPECT_EQ(2, proto.channels());
  EXPECT_EQ(1, proto.height());
  EXPECT_EQ(1, proto.width());
  EXPECT_EQ((std::vector<float>{4, 5}),
            std::vector<float>(proto.data().begin(), proto.data().end()));
  EXPECT_EQ(0, proto.diff_size());
}

TEST(Blob, WritesGradientsOnDemand) {
  Blob<float> blob(1, 2, 1, 1);
  SetDiff(&blob, {6, 7});
  BlobProto proto;
  blob.ToProto(&proto, /*write_diff=*/true);
  EXPECT_EQ((std::vector<float>{6, 7}),
            std::vector<float>(proto.diff().begin(), proto.diff().end()));
}

TEST(Blob, WritesOnlyThePresentCountAfterAnOverwrittenShape) {
  Blob<float> blob(1, 1, 2, 2);
  SetData(&blob, {1, 2, 3, 4});
  blob.OverwriteShape(1, 1, 1, 3);
  BlobProto proto;
  blob.ToProto(&proto);
  EXPECT_EQ((std::vector<float>{1, 2, 3}),
            std::vector<float>(proto.data().begin(), proto.data().end()));
}

TEST(BlobOfBytes, RecordsAShapeWithoutMemory) {
  Blob<unsigned char> blob(2, 3, 4, 5);
  EXPECT_EQ(120, blob.count());
  ASSERT_TRUE(blob.data_);
  EXPECT_EQ(120U, blob.data_->size());
  EXPECT_EQ(SyncedMemory::UNINITIALIZED, blob.data_->head());
  blob.Reshape(1, 1, 1, 7);
  EXPECT_EQ(7U, blob.data_->size());
}

}  // namespace
}  // namespace caffe
