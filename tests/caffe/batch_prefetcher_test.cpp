// Tests of the batch ahead, without a layer around it.

#include "caffe/util/batch_prefetcher.hpp"

#include <cstddef>
#include <vector>

#include "tests/caffe/data_test_helpers.h"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::BatchParameter;
using caffe::BatchPrefetcher;
using caffe::Caffe;
using caffe::Datum;

// Batches of two records of 1 by 2 by 3 bytes; a slot keeps what it had where no record is read.
struct Prefetching {
  explicit Prefetching(const BatchParameter& parameter, bool has_labels = true)
      : prefetcher(parameter) {
    if (!has_labels) tops.pop_back();
    prefetcher.SetUp(records[0], tops);
  }
  void Start() {
    prefetcher.Start(
        [](void* self) {
          auto& batch = *static_cast<Prefetching*>(self);
          batch.prefetcher.Fill(
              [&batch](Datum* datum) {
                if (batch.next >= batch.records.size()) return false;
                *datum = batch.records[batch.next++];
                return true;
              },
              [&batch] { return batch.prefetcher.Rand(); });
        },
        this, /*always_draws=*/false);
  }
  std::vector<Datum> records = {ByteDatum(1, 2, 3, 4, 0), ByteDatum(1, 2, 3, 9, 100),
                                ByteDatum(1, 2, 3, 1, 200)};
  std::size_t next = 0;
  caffe::Blob<float> data, labels;
  std::vector<caffe::Blob<float>*> tops = {&data, &labels};
  BatchPrefetcher<float> prefetcher;
};

BatchParameter plainBatches(int size) { return {size, 0, 1, false, false, ""}; }

TEST(BatchPrefetcherThreads, GivesBatchAfterBatch) {
  const ScopedRuntimeState state(Caffe::TEST);
  Prefetching batch(plainBatches(2));
  EXPECT_EQ(ShapeOf(batch.data), (std::vector<int>{2, 1, 2, 3}));
  EXPECT_EQ(ShapeOf(batch.labels), (std::vector<int>{2, 1, 1, 1}));
  EXPECT_EQ(batch.prefetcher.datum_size(), 6);
  batch.Start();
  batch.prefetcher.Join();
  batch.prefetcher.CopyTo(batch.tops);
  std::vector<float> expected = ValuesOf(batch.records[0]);
  Append(expected, ValuesOf(batch.records[1]));
  EXPECT_EQ(DataOf(batch.data), expected);
  EXPECT_EQ(DataOf(batch.labels), (std::vector<float>{4, 9}));
  // The next batch has one record more; the other slot stays.
  batch.Start();
  batch.prefetcher.Join();
  batch.prefetcher.CopyTo(batch.tops);
  expected = ValuesOf(batch.records[2]);
  Append(expected, ValuesOf(batch.records[1]));
  EXPECT_EQ(DataOf(batch.data), expected);
  EXPECT_EQ(DataOf(batch.labels), (std::vector<float>{1, 9}));
}

TEST(BatchPrefetcher, MayDoWithoutLabelsAndWithoutAThread) {
  const ScopedRuntimeState state(Caffe::TEST);
  Prefetching batch(plainBatches(1), /*has_labels=*/false);
  EXPECT_EQ(batch.prefetcher.prefetch_label(), nullptr);
  batch.prefetcher.Join();
  batch.prefetcher.Join();
}

TEST(BatchPrefetcher, HasAMeanOfZerosWithoutAFile) {
  const ScopedRuntimeState state(Caffe::TEST);
  const Prefetching batch(plainBatches(1));
  EXPECT_EQ(DataOf(batch.prefetcher.data_mean()), std::vector<float>(6, 0.0F));
}

using BatchPrefetcherDeathTest = testing::Test;

TEST_F(BatchPrefetcherDeathTest, EndsForADrawThatNobodyAskedFor) {
  const ScopedRuntimeState state(Caffe::TEST);
  Prefetching batch(plainBatches(1));
  EXPECT_DEATH(batch.prefetcher.Rand(), testing::HasSubstr("Check failed: prefetch_rng_"));
}

TEST_F(BatchPrefetcherDeathTest, EndsForACropAsLargeAsTheRecord) {
  BatchParameter parameter = plainBatches(1);
  parameter.crop_size = 2;
  EXPECT_DEATH(Prefetching{parameter}, testing::HasSubstr("datum_height_ > crop_size"));
}

}  // namespace
}  // namespace caffe_test
