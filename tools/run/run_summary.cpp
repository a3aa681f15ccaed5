// Counts as a sentence.

#include "tools/run/run_summary.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <utility>
#include <vector>

namespace oznatool {
namespace {

std::string counted(std::size_t count, const std::string& one, const std::string& several) {
  return std::to_string(count) + " " + (count == 1 ? one : several);
}

std::string listOf(const PassedOver& kinds) {
  constexpr std::size_t kMostKinds = 8;
  std::vector<std::pair<std::string, std::size_t>> sorted(kinds.begin(), kinds.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  std::string list;
  std::size_t others = 0;
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    if (i >= kMostKinds) {
      others += sorted[i].second;
    } else {
      list += (i == 0 ? "" : ", ") + std::to_string(sorted[i].second) + " " + sorted[i].first;
    }
  }
  return others == 0 ? list : list + ", " + counted(others, "of another kind", "of other kinds");
}

}  // namespace

std::string kindOfFile(const std::string& name) {
  constexpr std::size_t kLongest = 10;
  std::string ending = std::filesystem::path(name).extension().string();
  if (ending.size() < 2) return "without ending";
  ending.erase(0, 1);
  for (char& c : ending) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if ((c < 'a' || c > 'z') && (c < '0' || c > '9')) return "others";
  }
  return ending.size() > kLongest ? "others" : ending;
}

std::string summaryLine(const RunSummary& summary) {
  std::string line = counted(summary.photographs, "photograph", "photographs") + ", " +
                     counted(summary.faces, "face", "faces");
  if (summary.failed > 0) line += "; " + std::to_string(summary.failed) + " failed";
  if (summary.done_before > 0) line += "; " + std::to_string(summary.done_before) + " done before";
  if (summary.named_before > 0) {
    line += "; " + std::to_string(summary.named_before) + " named twice";
  }
  if (!summary.passed_over.empty()) line += "; passed over: " + listOf(summary.passed_over);
  return line;
}

}  // namespace oznatool
