// Tests of the Caffe singleton and its random source.

#include "caffe/common.hpp"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <random>

#include "caffe/util/math_functions.hpp"
#include "caffe/util/rng.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe {
namespace {

TEST(Caffe, StartsInModeCpuAndInTheTrainPhase) {
  // CTest runs each test in a process of its own; under a whole run, the scopes of other tests
  // have put the state back.
  EXPECT_EQ(Caffe::CPU, Caffe::mode());
  EXPECT_EQ(Caffe::TRAIN, Caffe::phase());
}

TEST(Caffe, NumbersModesAndPhases) {
  EXPECT_EQ(0, Caffe::CPU);
  EXPECT_EQ(1, Caffe::GPU);
  EXPECT_EQ(0, Caffe::TRAIN);
  EXPECT_EQ(1, Caffe::TEST);
  EXPECT_EQ(4U, sizeof(Caffe::Brew));
  EXPECT_EQ(4U, sizeof(Caffe::Phase));
}

TEST(Caffe, IsOneObject) { EXPECT_EQ(&Caffe::Get(), &Caffe::Get()); }

TEST(Caffe, KeepsModeAndPhase) {
  caffe_test::ScopedRuntimeState scope(Caffe::TEST, Caffe::GPU);
  EXPECT_EQ(Caffe::GPU, Caffe::mode());
  EXPECT_EQ(Caffe::TEST, Caffe::phase());
}

TEST(CaffeRng, DrawsTheTwisterSequenceOfItsSeed) {
  Caffe::set_random_seed(1701);
  std::mt19937 independent(1701);
  for (int i = 0; i < 2000; ++i) {
    ASSERT_EQ(independent(), caffe_rng_rand());
  }
}

TEST(CaffeRng, StartsAgainWithTheSeed) {
  Caffe::set_random_seed(5);
  const unsigned first = caffe_rng_rand();
  caffe_rng_rand();
  Caffe::set_random_seed(5);
  EXPECT_EQ(first, caffe_rng_rand());
}

TEST(CaffeRng, IsOneStreamForAllUsers) {
  Caffe::set_random_seed(6);
  std::mt19937 independent(6);
  EXPECT_EQ(independent(), caffe_rng_rand());
  EXPECT_EQ(independent(), (*caffe_rng())());
  EXPECT_EQ(independent(), caffe_rng_rand());
}

TEST(CaffeRng, SharesTheEngineBetweenCopies) {
  Caffe::RNG original(9);
  Caffe::RNG copy(original);
  EXPECT_EQ(original.generator(), copy.generator());
}

TEST(CaffeRng, SeedsOfStreamsOfTheirOwnDoNotTouchTheSingleton) {
  Caffe::set_random_seed(10);
  Caffe::RNG own(11);
  std::mt19937 independent(11);
  EXPECT_EQ(independent(), (*static_cast<rng_t*>(own.generator()))());
  EXPECT_EQ(std::mt19937(10)(), caffe_rng_rand());
}

// Whether first_draw is what some second from begin to end gives this process.
bool IsFirstDrawOfProcess(unsigned first_draw, std::time_t begin, std::time_t end) {
  for (std::time_t second = begin; second <= end; ++second) {
    if (std::mt19937(Caffe::RNG::SeedFrom(getpid(), second))() == first_draw) return true;
  }
  return false;
}

TEST(CaffeRng, TakesItsSeedFromProcessAndSecondWithoutOne) {
  const std::time_t begin = std::time(nullptr);
  Caffe::RNG own;
  const std::time_t end = std::time(nullptr);
  EXPECT_TRUE(IsFirstDrawOfProcess((*static_cast<rng_t*>(own.generator()))(), begin, end));
}

// In a process of its own, since the stream of this one may have a seed already.
TEST(CaffeRngDeathTest, SeedsTheStreamOfAProcessThatGaveNoSeed) {
  const auto style = testing::FLAGS_gtest_death_test_style;
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  EXPECT_EXIT(
      {
        const std::time_t begin = std::time(nullptr);
        const unsigned first_draw = caffe_rng_rand();
        std::exit(IsFirstDrawOfProcess(first_draw, begin, std::time(nullptr)) ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
  testing::FLAGS_gtest_death_test_style = style;
}

TEST(CaffeRngSeed, IsZeroForProcess83) {
  EXPECT_EQ(0U, Caffe::RNG::SeedFrom(83, 1700000000));
  EXPECT_EQ(0U, Caffe::RNG::SeedFrom(83, 1));
}

TEST(CaffeRngSeed, IsTheRemainderOfTheProduct) {
  // (84 - 83) * 1 * 64979 = 64979; (85 - 83) * 1 * 64979 = 129958 = 104729 + 25229.
  EXPECT_EQ(64979U, Caffe::RNG::SeedFrom(84, 1));
  EXPECT_EQ(25229U, Caffe::RNG::SeedFrom(85, 1));
}

TEST(CaffeRngSeed, TakesTheAbsoluteValueBelowProcess83) {
  EXPECT_EQ(64979U, Caffe::RNG::SeedFrom(82, 1));
  EXPECT_EQ(25229U, Caffe::RNG::SeedFrom(81, 1));
}

TEST(CaffeRngSeed, MultipliesIn64Bits) {
  // (32768 - 83) * 1700000000 * 64979 needs 62 bits. The expected value comes from modular
  // arithmetic: each factor is reduced before the next product, which then stays small.
  const std::int64_t modulus = 104729;
  std::int64_t expected = (32768 - 83) % modulus;
  expected = expected * (1700000000 % modulus) % modulus;
  expected = expected * (64979 % modulus) % modulus;
  EXPECT_EQ(expected, Caffe::RNG::SeedFrom(32768, 1700000000));
}

TEST(CaffeRngSeed, StaysBelowTheModulusWhenTheProductWraps) {
  for (const std::int64_t process_id : {4194303, 4000000, 200000}) {
    EXPECT_LT(Caffe::RNG::SeedFrom(process_id, 1700000000), 104729U);
  }
}

TEST(CaffeRngSeed, IsTheSameForTheSameProcessAndSecond) {
  EXPECT_EQ(Caffe::RNG::SeedFrom(4321, 1700000001), Caffe::RNG::SeedFrom(4321, 1700000001));
  EXPECT_NE(Caffe::RNG::SeedFrom(4321, 1700000001), Caffe::RNG::SeedFrom(4322, 1700000001));
}

}  // namespace
}  // namespace caffe
