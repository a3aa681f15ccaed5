// Ordering, thresholding and non-maximum suppression of candidate lists.

#include "detector/suppression.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace oznalib {
namespace {

using Candidates = std::vector<FaceCandidate>;

// A position in a list with the negated score: ascending keys are descending scores.
struct IndexPair {
  std::int32_t index;
  float key;
};

// A plain "less" on floats that may be NaN is not a strict weak ordering, and sorting by it is
// undefined; putting NaN last makes it one.
bool keyPrecedes(float a, float b) {
  if (std::isnan(a)) {
    return false;
  }
  return std::isnan(b) || a < b;
}

std::vector<IndexPair> orderByScore(const Candidates& candidates) {
  std::vector<IndexPair> pairs;
  pairs.reserve(candidates.size());
  for (std::size_t i = 0; i < candidates.size(); ++i) {
    pairs.push_back({static_cast<std::int32_t>(i), candidates[i].score * -1.0F});
  }
  std::stable_sort(pairs.begin(), pairs.end(), [](const IndexPair& a, const IndexPair& b) {
    return keyPrecedes(a.key, b.key);
  });
  return pairs;
}

Candidates bestFirstDownToFloor(const Candidates& candidates, float floor) {
  Candidates working;
  working.reserve(candidates.size());
  for (const IndexPair& pair : orderByScore(candidates)) {
    const FaceCandidate& candidate = candidates[pair.index];
    if (candidate.score < floor) {
      break;
    }
    working.push_back(candidate);
  }
  return working;
}

// Areas are formed in 64 bits: a box of a large photograph may exceed 46340 pixels per side.
std::int64_t area(const FaceCandidate& box) {
  return static_cast<std::int64_t>(box.width) * box.height;
}

float intersectionArea(const FaceCandidate& a, const FaceCandidate& b) {
  const std::int32_t left = std::max(a.x, b.x);
  const std::int32_t top = std::max(a.y, b.y);
  const std::int32_t right = std::min(a.x + a.width, b.x + b.width);
  const std::int32_t bottom = std::min(a.y + a.height, b.y + b.height);
  const std::int64_t width = static_cast<std::int64_t>(right) - left;
  const std::int64_t height = static_cast<std::int64_t>(bottom) - top;
  if (width < 1 || height < 1) {
    return 0.0F;
  }
  return static_cast<float>(width * height);
}

struct OverlapOfUnion {
  static float ratio(float intersection, std::int64_t area_a, std::int64_t area_b) {
    return intersection / (static_cast<float>(area_a + area_b) - intersection);
  }
};

struct OverlapOfSmaller {
  static float ratio(float intersection, std::int64_t area_a, std::int64_t area_b) {
    return std::max(intersection / static_cast<float>(area_a),
                    intersection / static_cast<float>(area_b));
  }
};

template <class Overlap>
bool isSuppressed(const FaceCandidate& candidate, const Candidates& kept, float limit) {
  const std::int64_t candidate_area = area(candidate);
  return std::any_of(kept.begin(), kept.end(), [&](const FaceCandidate& other) {
    const float intersection = intersectionArea(candidate, other);
    return intersection > 0.0F && Overlap::ratio(intersection, candidate_area, area(other)) > limit;
  });
}

template <class Overlap>
Candidates suppress(const Candidates& candidates, float floor, float limit) {
  Candidates kept;
  for (const FaceCandidate& candidate : bestFirstDownToFloor(candidates, floor)) {
    if (!isSuppressed<Overlap>(candidate, kept, limit)) {
      kept.push_back(candidate);
    }
  }
  return kept;
}

std::vector<Candidates> groupByWidth(const Candidates& candidates) {
  std::map<std::int32_t, std::size_t> group_of_width;
  std::vector<Candidates> groups;
  for (const FaceCandidate& candidate : candidates) {
    const auto [entry, is_new] = group_of_width.emplace(candidate.width, groups.size());
    if (is_new) {
      groups.emplace_back();
    }
    groups[entry->second].push_back(candidate);
  }
  return groups;
}

}  // namespace

void sortByScore(CandidateList& list) {
  std::stable_sort(list.candidates.begin(), list.candidates.end(),
                   [](const FaceCandidate& a, const FaceCandidate& b) {
                     return keyPrecedes(-a.score, -b.score);
                   });
}

void keepAboveThreshold(CandidateList& list, float threshold) {
  Candidates& candidates = list.candidates;
  candidates.erase(
      std::remove_if(candidates.begin(), candidates.end(),
                     [&](const FaceCandidate& box) { return !(box.score > threshold); }),
      candidates.end());
}

CandidateList suppressUnion(const CandidateList& list, float floor, float limit) {
  return {suppress<OverlapOfUnion>(list.candidates, floor, limit), list.label};
}

CandidateList suppressBySize(const CandidateList& list, float floor, float limit) {
  CandidateList result{{}, list.label};
  for (const Candidates& group : groupByWidth(list.candidates)) {
    const Candidates kept = suppress<OverlapOfUnion>(group, floor, limit);
    result.candidates.insert(result.candidates.end(), kept.begin(), kept.end());
  }
  return result;
}

CandidateList suppressContained(const CandidateList& list, float floor, float limit) {
  return {suppress<OverlapOfSmaller>(list.candidates, floor, limit), list.label};
}

}  // namespace oznalib
