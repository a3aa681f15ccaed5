// Tests of SyncedMemory: lazy zeroed allocation and adoption of foreign memory.

#include "caffe/syncedmem.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <vector>

#include "tests/caffe/test_helpers.h"

namespace caffe {
namespace {

TEST(SyncedMemory, AllocatesNothingUntilFirstAccess) {
  SyncedMemory memory(64);
  EXPECT_EQ(SyncedMemory::UNINITIALIZED, memory.head());
  EXPECT_EQ(64U, memory.size());
}

TEST(SyncedMemory, ReadsAsZerosOnFirstAccess) {
  // A block is dirtied and freed first, so that fresh memory is likely to hold other bytes.
  void* dirty = std::malloc(4096);
  std::fill_n(static_cast<unsigned char*>(dirty), 4096, 0xAB);
  std::free(dirty);
  SyncedMemory memory(4096);
  const unsigned char* bytes = static_cast<const unsigned char*>(memory.cpu_data());
  EXPECT_EQ(4096, std::count(bytes, bytes + 4096, 0));
  EXPECT_EQ(SyncedMemory::HEAD_AT_CPU, memory.head());
}

TEST(SyncedMemory, ProvidedForWritingReadsAsZerosToo) {
  for (const std::size_t size : {std::size_t{100}, std::size_t{5} << 20}) {
    SyncedMemory memory(size);
    memory.Provide();
    EXPECT_EQ(SyncedMemory::HEAD_AT_CPU, memory.head());
    EXPECT_TRUE(memory.owns_data());
    unsigned char* bytes = static_cast<unsigned char*>(memory.mutable_cpu_data());
    EXPECT_EQ(size, static_cast<std::size_t>(std::count(bytes, bytes + size, 0)));
    bytes[size - 1] = 7;
    memory.Provide();  // There is a block already.
    EXPECT_EQ(7, static_cast<const unsigned char*>(memory.cpu_data())[size - 1]);
  }
}

TEST(SyncedMemory, KeepsOneBlockOverAllAccesses) {
  SyncedMemory memory(16);
  void* block = memory.mutable_cpu_data();
  static_cast<char*>(block)[3] = 7;
  EXPECT_EQ(block, memory.cpu_data());
  EXPECT_EQ(block, memory.mutable_cpu_data());
  EXPECT_EQ(7, static_cast<const char*>(memory.cpu_data())[3]);
}

TEST(SyncedMemory, AdoptsForeignMemoryWithoutOwningIt) {
  std::vector<float> foreign(4, 2.5F);
  {
    SyncedMemory memory(4 * sizeof(float));
    memory.mutable_cpu_data();  // An own block, which adoption must free.
    memory.set_cpu_data(foreign.data());
    EXPECT_EQ(SyncedMemory::HEAD_AT_CPU, memory.head());
    EXPECT_EQ(foreign.data(), memory.cpu_data());
    static_cast<float*>(memory.mutable_cpu_data())[1] = 9.0F;
  }
  // Still readable and writable: the holder did not free what it adopted.
  EXPECT_EQ(9.0F, foreign[1]);
  foreign[0] = 1.0F;
}

TEST(SyncedMemory, AdoptsASecondTimeWithoutFreeingTheFirst) {
  std::vector<float> first(2, 1.0F);
  std::vector<float> second(2, 2.0F);
  SyncedMemory memory(2 * sizeof(float));
  memory.set_cpu_data(first.data());
  memory.set_cpu_data(second.data());
  EXPECT_EQ(second.data(), memory.cpu_data());
  EXPECT_EQ(1.0F, first[1]);
}

TEST(SyncedMemoryDeathTest, RefusesNullMemory) {
  SyncedMemory memory(4);
  EXPECT_DEATH(memory.set_cpu_data(nullptr), "Check failed: data ");
}

TEST(SyncedMemoryDeathTest, EndsTheProcessWhenMemoryIsExhausted) {
  if (OZNA_SANITIZED) {
    GTEST_SKIP() << "the sanitizer ends the process itself";
  }
  SyncedMemory memory(std::numeric_limits<std::size_t>::max() / 2);
  EXPECT_EXIT(memory.cpu_data(), testing::ExitedWithCode(255), "^Unable to allocate memory\n$");
}

}  // namespace
}  // namespace caffe
