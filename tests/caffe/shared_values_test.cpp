// Equal values of several blobs are held once, and whoever writes has a copy of its own.

#include "caffe/util/shared_values.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>
#include <memory>
#include <thread>
#include <vector>

namespace {

using caffe::Blob;
using caffe::ShareEqualValues;

std::unique_ptr<Blob<float>> countingBlob(int count, float first) {
  auto blob = std::make_unique<Blob<float>>(1, 1, 1, count);
  for (int i = 0; i < count; ++i) blob->mutable_cpu_data()[i] = first + static_cast<float>(i);
  return blob;
}

TEST(SharedValues, AreHeldOnceWhereTheyAreEqual) {
  const auto first = countingBlob(5, 1);
  const auto second = countingBlob(5, 1);
  const auto other = countingBlob(5, 2);
  const auto shorter = countingBlob(4, 1);
  for (const auto* blob : {&first, &second, &other, &shorter}) ShareEqualValues(blob->get());
  EXPECT_EQ(first->cpu_data(), second->cpu_data());
  EXPECT_NE(first->cpu_data(), other->cpu_data());
  EXPECT_NE(first->cpu_data(), shorter->cpu_data());
  EXPECT_EQ(6.0F, other->cpu_data()[4]);
}

TEST(SharedValues, AreComparedByTheirBytes) {
  const auto zero = countingBlob(1, 0.0F);
  const auto minus_zero = countingBlob(1, 0.0F);
  minus_zero->mutable_cpu_data()[0] = -0.0F;
  ShareEqualValues(zero.get());
  ShareEqualValues(minus_zero.get());
  EXPECT_NE(zero->cpu_data(), minus_zero->cpu_data());
}

TEST(SharedValues, AreCopiedForTheOneWhoWrites) {
  const auto first = countingBlob(5, 1);
  const auto second = countingBlob(5, 1);
  ShareEqualValues(first.get());
  ShareEqualValues(second.get());
  second->mutable_cpu_data()[0] = 77;
  EXPECT_EQ(1.0F, first->cpu_data()[0]);
  EXPECT_EQ(77.0F, second->cpu_data()[0]);
  EXPECT_EQ(5.0F, second->cpu_data()[4]);
  const float* const own = second->cpu_data();
  second->mutable_cpu_data()[1] = 78;
  EXPECT_EQ(own, second->cpu_data());
}

TEST(SharedValues, LeaveTheBlobThatAdoptsOthers) {
  const auto first = countingBlob(2, 1);
  const auto second = countingBlob(2, 1);
  ShareEqualValues(first.get());
  ShareEqualValues(second.get());
  float adopted[] = {8, 9};
  second->set_cpu_data(adopted);
  EXPECT_EQ(1.0F, first->cpu_data()[0]);
  EXPECT_EQ(9.0F, second->cpu_data()[1]);
}

TEST(SharedValues, GoWithTheLastBlobThatHoldsThem) {
  auto first = countingBlob(5, 1);
  auto second = countingBlob(5, 1);
  ShareEqualValues(first.get());
  ShareEqualValues(second.get());
  const boost::weak_ptr<caffe::SyncedMemory> values = first->data();
  first.reset();
  EXPECT_FALSE(values.expired());
  second.reset();
  EXPECT_TRUE(values.expired());
}

TEST(SharedValues, OfABlobWithoutElementsAreNone) {
  Blob<float> empty;
  ShareEqualValues(&empty);
  EXPECT_EQ(0, empty.count());
}

TEST(SharedValues, OfBlocksAreHeldOnceToo) {
  const auto blockOf = [](const std::vector<float>& values) {
    boost::shared_ptr<caffe::SyncedMemory> block(
        new caffe::SyncedMemory(values.size() * sizeof(float)));
    std::copy(values.begin(), values.end(), static_cast<float*>(block->mutable_cpu_data()));
    block->Freeze();
    return block;
  };
  const auto first = caffe::SharedEqual(blockOf({1, 2, 3}));
  const auto second = caffe::SharedEqual(blockOf({1, 2, 3}));
  const auto other = caffe::SharedEqual(blockOf({1, 2, 4}));
  EXPECT_EQ(first, second);
  EXPECT_NE(first, other);
}

// Blobs come, are read and go in eight threads at once, so that holders change all the time.
TEST(SharedValuesThreads, AreReadWhileOthersComeAndGo) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) {
        const float first = static_cast<float>(i % 3);
        const auto blob = countingBlob(64, first);
        ShareEqualValues(blob.get());
        float sum = 0;
        for (int k = 0; k < 64; ++k) sum += blob->cpu_data()[k];
        EXPECT_EQ(64 * first + 2016, sum);  // 0 + 1 + ... + 63 = 2016.
        if (i % 5 == t % 5) {
          blob->mutable_cpu_data()[0] = -1;
          EXPECT_EQ(-1.0F, blob->cpu_data()[0]);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
