// Ordering, thresholding and the three suppressions.

#include "detector/suppression.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace {

using oznalib::CandidateList;
using oznalib::FaceCandidate;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

FaceCandidate box(int x, int y, int side, float score) { return {x, y, side, side, score, 0}; }

CandidateList listOf(std::vector<FaceCandidate> candidates) { return {std::move(candidates), ""}; }

std::vector<float> scores(const CandidateList& list) {
  std::vector<float> result;
  for (const FaceCandidate& candidate : list.candidates) result.push_back(candidate.score);
  return result;
}

TEST(SortByScore, PutsTheBestFirst) {
  CandidateList list = listOf({box(0, 0, 5, 0.2F), box(1, 0, 5, 0.9F), box(2, 0, 5, 0.5F)});
  oznalib::sortByScore(list);
  EXPECT_THAT(scores(list), ElementsAre(0.9F, 0.5F, 0.2F));
  EXPECT_EQ(list.candidates[0].x, 1);
}

TEST(SortByScore, PutsNotANumberLastAndStillSortsTheRest) {
  // Enough entries that a comparison that is not a strict weak ordering would scatter the sort.
  CandidateList list;
  for (int i = 0; i < 200; ++i) {
    list.candidates.push_back(box(i, 0, 5, i % 7 == 3 ? kNaN : static_cast<float>((i * 37) % 101)));
  }
  oznalib::sortByScore(list);
  const std::vector<float> sorted = scores(list);
  const std::size_t numbers = 200 - 29;  // i = 3, 10, ..., 199 are NaN.
  for (std::size_t i = 1; i < numbers; ++i) EXPECT_GE(sorted[i - 1], sorted[i]);
  for (std::size_t i = numbers; i < 200; ++i) EXPECT_TRUE(std::isnan(sorted[i]));
}

TEST(SortByScore, AcceptsAnEmptyList) {
  CandidateList list;
  oznalib::sortByScore(list);
  EXPECT_THAT(list.candidates, IsEmpty());
}

TEST(KeepAboveThreshold, DropsAScoreEqualToTheThreshold) {
  CandidateList list = listOf({box(0, 0, 5, 0.4F), box(1, 0, 5, std::nextafter(0.4F, 1.0F))});
  oznalib::keepAboveThreshold(list, 0.4F);
  ASSERT_EQ(list.candidates.size(), 1U);
  EXPECT_EQ(list.candidates[0].x, 1);
}

TEST(KeepAboveThreshold, KeepsTheOrderAndDropsNotANumber) {
  CandidateList list = listOf({box(0, 0, 5, 0.5F), box(1, 0, 5, kNaN), box(2, 0, 5, 0.1F),
                               box(3, 0, 5, 0.9F), box(4, 0, 5, 0.6F)});
  oznalib::keepAboveThreshold(list, 0.2F);
  EXPECT_THAT(scores(list), ElementsAre(0.5F, 0.9F, 0.6F));
}

TEST(SuppressUnion, KeepsBothAtAnOverlapOfExactlyTheLimit) {
  // 20 of 30 columns in common: 600 over 900 + 900 - 600 is one half.
  const CandidateList list = listOf({box(0, 0, 30, 0.9F), box(10, 0, 30, 0.8F)});
  EXPECT_EQ(oznalib::suppressUnion(list, 0, 0.5F).candidates.size(), 2U);
  EXPECT_THAT(scores(oznalib::suppressUnion(list, 0, std::nextafter(0.5F, 0.0F))),
              ElementsAre(0.9F));
}

TEST(SuppressUnion, RemovesTheLowerScoredOfTwoBoxesThatOverlapMore) {
  // 21 of 30 columns in common: 630 over 1170.
  const CandidateList list = listOf({box(9, 0, 30, 0.8F), box(0, 0, 30, 0.9F)});
  EXPECT_THAT(scores(oznalib::suppressUnion(list, 0, 0.5F)), ElementsAre(0.9F));
}

TEST(SuppressUnion, ABoxThatWasRemovedRemovesNothing) {
  // Each overlaps the next by 630 over 1170, but the first and third only by 12 of 30 columns.
  const CandidateList list =
      listOf({box(0, 0, 30, 0.9F), box(9, 0, 30, 0.8F), box(18, 0, 30, 0.7F)});
  EXPECT_THAT(scores(oznalib::suppressUnion(list, 0, 0.5F)), ElementsAre(0.9F, 0.7F));
}

TEST(SuppressUnion, NeverSuppressesBoxesThatOnlyTouch) {
  const CandidateList list =
      listOf({box(0, 0, 10, 0.9F), box(10, 0, 10, 0.8F), box(0, 10, 10, 0.7F)});
  EXPECT_EQ(oznalib::suppressUnion(list, 0, 0.0F).candidates.size(), 3U);
  EXPECT_EQ(oznalib::suppressContained(list, 0, 0.0F).candidates.size(), 3U);
}

TEST(SuppressUnion, DistantBoxesOnBothAxesDoNotOverlap) {
  // Both differences are negative, and their product is not an area.
  const CandidateList list = listOf({box(0, 0, 10, 0.9F), box(30, 30, 10, 0.8F)});
  EXPECT_EQ(oznalib::suppressUnion(list, 0, 0.0F).candidates.size(), 2U);
  EXPECT_EQ(oznalib::suppressContained(list, 0, 0.0F).candidates.size(), 2U);
}

TEST(SuppressUnion, StopsBelowTheFloorAndKeepsAScoreEqualToIt) {
  const CandidateList list = listOf({box(0, 0, 5, 0.2F), box(20, 0, 5, 0.5F), box(40, 0, 5, 0.7F)});
  EXPECT_THAT(scores(oznalib::suppressUnion(list, 0.5F, 0.5F)), ElementsAre(0.7F, 0.5F));
  EXPECT_THAT(scores(oznalib::suppressContained(list, 0.5F, 0.5F)), ElementsAre(0.7F, 0.5F));
}

TEST(SuppressUnion, PutsNotANumberLast) {
  const CandidateList list = listOf({box(0, 0, 5, kNaN), box(20, 0, 5, 0.5F), box(40, 0, 5, 0.7F)});
  const std::vector<float> kept = scores(oznalib::suppressUnion(list, 0, 0.5F));
  ASSERT_EQ(kept.size(), 3U);
  EXPECT_EQ(kept[0], 0.7F);
  EXPECT_EQ(kept[1], 0.5F);
  EXPECT_TRUE(std::isnan(kept[2]));
}

TEST(SuppressUnion, HandlesBoxesWhoseAreaExceedsAnInt) {
  // 60000 * 60000 is 3.6e9. 59000 of 60000 columns in common.
  const CandidateList list = listOf({box(0, 0, 60000, 0.9F), box(1000, 0, 60000, 0.8F)});
  EXPECT_THAT(scores(oznalib::suppressUnion(list, 0, 0.5F)), ElementsAre(0.9F));
  EXPECT_THAT(scores(oznalib::suppressContained(list, 0, 0.5F)), ElementsAre(0.9F));
}

TEST(SuppressContained, RemovesSmallBoxInsideHigherScoredLargeOne) {
  const CandidateList list = listOf({box(40, 40, 10, 0.8F), box(0, 0, 100, 0.9F)});
  EXPECT_THAT(scores(oznalib::suppressContained(list, 0, 0.25F)), ElementsAre(0.9F));
  // Their intersection over union is a hundredth, and their widths differ.
  EXPECT_THAT(scores(oznalib::suppressUnion(list, 0, 0.25F)), ElementsAre(0.9F, 0.8F));
  EXPECT_THAT(scores(oznalib::suppressBySize(list, 0, 0.25F)), ElementsAre(0.8F, 0.9F));
}

TEST(SuppressContained, RemovesLargeBoxAroundHigherScoredSmallOne) {
  const CandidateList list = listOf({box(40, 40, 10, 0.95F), box(0, 0, 100, 0.9F)});
  EXPECT_THAT(scores(oznalib::suppressContained(list, 0, 0.25F)), ElementsAre(0.95F));
}

TEST(SuppressContained, KeepsBothAtARatioOfExactlyTheLimit) {
  // 10 by 10 of the 20 by 20 pixels of each: a quarter.
  const CandidateList list = listOf({box(0, 0, 20, 0.9F), box(10, 10, 20, 0.8F)});
  EXPECT_EQ(oznalib::suppressContained(list, 0, 0.25F).candidates.size(), 2U);
  EXPECT_EQ(oznalib::suppressContained(list, 0, 0.24F).candidates.size(), 1U);
}

TEST(SuppressBySize, KeepsGroupsInOrderOfFirstAppearance) {
  const CandidateList list =
      listOf({box(0, 0, 20, 0.3F), box(0, 0, 10, 0.9F), box(100, 0, 20, 0.6F),
              box(200, 0, 15, 0.5F), box(100, 0, 10, 0.95F)});
  EXPECT_THAT(scores(oznalib::suppressBySize(list, 0, 0.5F)),
              ElementsAre(0.6F, 0.3F, 0.95F, 0.9F, 0.5F));
}

TEST(SuppressBySize, SuppressesWithinAGroupByIntersectionOverUnion) {
  const CandidateList list =
      listOf({box(0, 0, 30, 0.8F), box(5, 0, 30, 0.9F), box(0, 0, 31, 0.7F)});
  EXPECT_THAT(scores(oznalib::suppressBySize(list, 0, 0.5F)), ElementsAre(0.9F, 0.7F));
}

TEST(SuppressBySize, GroupsByWidthAloneAndComparesHeightsWithinTheGroup) {
  // One width, but heights of 10 and 40: 100 over 400 + 100 - 100 is a quarter.
  const CandidateList list = listOf({{0, 0, 10, 10, 0.9F, 0}, {0, 0, 10, 40, 0.8F, 0}});
  EXPECT_EQ(oznalib::suppressBySize(list, 0, 0.25F).candidates.size(), 2U);
  EXPECT_EQ(oznalib::suppressBySize(list, 0, 0.2F).candidates.size(), 1U);
}

TEST(Suppressions, GiveAnEmptyListForAnEmptyList) {
  EXPECT_THAT(oznalib::suppressUnion({}, 0, 0.5F).candidates, IsEmpty());
  EXPECT_THAT(oznalib::suppressBySize({}, 0, 0.5F).candidates, IsEmpty());
  EXPECT_THAT(oznalib::suppressContained({}, 0, 0.5F).candidates, IsEmpty());
}

TEST(Suppressions, CarryLevelAndLabelThrough) {
  const CandidateList list = {{{1, 2, 3, 3, 0.5F, 7}}, "label"};
  for (const CandidateList& result :
       {oznalib::suppressUnion(list, 0, 0.5F), oznalib::suppressBySize(list, 0, 0.5F),
        oznalib::suppressContained(list, 0, 0.5F)}) {
    ASSERT_EQ(result.candidates.size(), 1U);
    EXPECT_EQ(result.candidates[0].level, 7);
    EXPECT_EQ(result.label, "label");
  }
}

// The slow reference: pixels are counted one by one, and the best remaining box is looked for anew
// each time. Overlaps are exact ratios of small integers.

int commonPixels(const FaceCandidate& a, const FaceCandidate& b) {
  int count = 0;
  for (int y = a.y; y < a.y + a.height; ++y) {
    for (int x = a.x; x < a.x + a.width; ++x) {
      count += x >= b.x && x < b.x + b.width && y >= b.y && y < b.y + b.height ? 1 : 0;
    }
  }
  return count;
}

bool overlapsByUnion(const FaceCandidate& a, const FaceCandidate& b) {  // Above one half.
  const int common = commonPixels(a, b);
  return 2 * common > a.width * a.height + b.width * b.height - common;
}

bool overlapsByContainment(const FaceCandidate& a, const FaceCandidate& b) {  // Above a quarter.
  return 4 * commonPixels(a, b) > std::min(a.width * a.height, b.width * b.height);
}

template <class Overlaps>
std::vector<FaceCandidate> slowSuppress(std::vector<FaceCandidate> rest, Overlaps overlaps) {
  std::vector<FaceCandidate> kept;
  while (!rest.empty()) {
    std::size_t best = 0;
    for (std::size_t i = 1; i < rest.size(); ++i) {
      if (rest[i].score > rest[best].score) best = i;
    }
    const FaceCandidate winner = rest[best];
    kept.push_back(winner);
    std::vector<FaceCandidate> next;
    for (std::size_t i = 0; i < rest.size(); ++i) {
      if (i != best && !overlaps(rest[i], winner)) next.push_back(rest[i]);
    }
    rest = next;
  }
  return kept;
}

std::vector<FaceCandidate> slowSuppressBySize(const std::vector<FaceCandidate>& list) {
  std::vector<FaceCandidate> result;
  std::vector<int> widths_done;
  for (const FaceCandidate& first : list) {
    if (std::count(widths_done.begin(), widths_done.end(), first.width) > 0) continue;
    widths_done.push_back(first.width);
    std::vector<FaceCandidate> group;
    for (const FaceCandidate& other : list) {
      if (other.width == first.width) group.push_back(other);
    }
    for (const FaceCandidate& kept : slowSuppress(group, overlapsByUnion)) result.push_back(kept);
  }
  return result;
}

std::vector<int> positions(const std::vector<FaceCandidate>& list) {
  std::vector<int> levels;
  for (const FaceCandidate& candidate : list) levels.push_back(candidate.level);
  return levels;
}

TEST(Suppressions, AgreeWithASlowReferenceOnRandomBoxes) {
  for (unsigned seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    std::mt19937 engine(seed);
    CandidateList list;
    const int count = static_cast<int>(engine() % 60);
    for (int i = 0; i < count; ++i) {
      FaceCandidate candidate =
          box(static_cast<int>(engine() % 40), static_cast<int>(engine() % 40),
              4 + static_cast<int>(engine() % 4) * 5, 0);
      // Distinct scores, since the order of equal ones is free; the level distinguishes the boxes.
      candidate.score = static_cast<float>((i * 7919) % 1009) / 1009.0F;
      candidate.level = i;
      list.candidates.push_back(candidate);
    }
    EXPECT_EQ(positions(oznalib::suppressUnion(list, 0, 0.5F).candidates),
              positions(slowSuppress(list.candidates, overlapsByUnion)));
    EXPECT_EQ(positions(oznalib::suppressContained(list, 0, 0.25F).candidates),
              positions(slowSuppress(list.candidates, overlapsByContainment)));
    EXPECT_EQ(positions(oznalib::suppressBySize(list, 0, 0.5F).candidates),
              positions(slowSuppressBySize(list.candidates)));
  }
}

}  // namespace
