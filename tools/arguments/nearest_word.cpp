// Edit distance by rows.

#include "tools/arguments/nearest_word.h"

#include <algorithm>
#include <cstddef>

namespace oznatool {

std::size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) cost[i][0] = i;
  for (std::size_t j = 0; j <= b.size(); ++j) cost[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      cost[i][j] = std::min({replaced, cost[i - 1][j] + 1, cost[i][j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
      }
    }
  }
  return cost[a.size()][b.size()];
}

std::string nearestWord(const std::string& word, const std::vector<std::string>& known) {
  constexpr std::size_t kLongest = 64;  // Nobody mistypes a word into more.
  if (word.size() > kLongest) return "";
  std::string nearest;
  const std::size_t letters = word.size() - std::min(word.size(), word.find_first_not_of('-'));
  std::size_t least = letters < 3 ? 1 : std::max<std::size_t>(1, letters / 3) + 1;
  for (const std::string& candidate : known) {
    const bool begins = word.size() > 3 && candidate.rfind(word, 0) == 0;
    const std::size_t distance = begins ? 1 : editDistance(word, candidate);
    if (distance >= least) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace oznatool
