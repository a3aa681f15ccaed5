// Stage list, means and tables.

#include "kit/models/number_lists.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <system_error>

#include "kit/error.h"

namespace kit {
namespace {

constexpr std::size_t kMostStages = 16;
constexpr float kLeastScale = 0.1F;
constexpr float kMostScale = 10;
constexpr std::int32_t kMostShift = 10000;  // In pixels of a network's input.

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// Words between white space, with their lines.
class Words {
 public:
  Words(const std::string& label, std::string_view text, int first_line = 1)
      : label_(label), text_(text), line_(first_line) {}

  // The next word; empty at the end.
  std::string_view next() {
    while (at_ < text_.size() && isBlank(text_[at_])) {
      if (text_[at_++] == '\n') ++line_;
    }
    const std::size_t begin = at_;
    while (at_ < text_.size() && !isBlank(text_[at_])) ++at_;
    return text_.substr(begin, at_ - begin);
  }

  // Throws with what was expected and the word that was found.
  [[noreturn]] void fail(const std::string& expected, std::string_view found) const {
    constexpr std::size_t kShown = 40;
    std::string shown;
    for (const char c : found.substr(0, kShown)) shown += c >= ' ' && c <= '~' ? c : '?';
    throw Error(OZNAKIT_BAD_MODEL, label_ + ": line " + std::to_string(line_) + ": expected " +
                                       expected + ", found " +
                                       (found.empty() ? "the end" : "\"" + shown + "\"") + ".");
  }

  template <class Number>
  Number number(std::string_view word, const std::string& expected) const {
    // The streams that read these files elsewhere take a sign of either kind.
    const std::string_view digits = !word.empty() && word[0] == '+' ? word.substr(1) : word;
    Number value = 0;
    const char* const end = digits.data() + digits.size();
    const std::from_chars_result result = std::from_chars(digits.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) {
      fail(expected, word);
    }
    return value;
  }

 private:
  const std::string& label_;
  std::string_view text_;
  std::size_t at_ = 0;
  int line_;
};

// Whether a name stays below the directory that it is relative to.
bool staysInside(std::string_view name) {
  if (name.empty() || name[0] == '/' || name.find('\0') != std::string_view::npos) return false;
  for (std::size_t begin = 0; begin <= name.size();) {
    const std::size_t end = std::min(name.find('/', begin), name.size());
    if (name.substr(begin, end - begin) == "..") return false;
    begin = end + 1;
  }
  return true;
}

}  // namespace

std::vector<ListedStage> parseStageList(const std::string& label, std::string_view text) {
  const std::string kLine = "a stage directory and a threshold";
  std::vector<ListedStage> stages;
  int line_number = 0;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const std::string_view line = std::string_view(text).substr(begin, end - begin);
    begin = end + 1;
    ++line_number;
    if (!line.empty() && line[0] == '#') continue;
    Words words(label, line, line_number);
    const std::string_view name = words.next();
    if (!staysInside(name)) words.fail(kLine + " below that of the list", name);
    const std::string_view threshold = words.next();
    stages.push_back({std::string(name), words.number<float>(threshold, kLine)});
    if (const std::string_view rest = words.next(); !rest.empty()) words.fail(kLine, rest);
    if (stages.size() > kMostStages) {
      words.fail("at most " + std::to_string(kMostStages) + " stages", name);
    }
  }
  if (stages.empty()) {
    throw Error(OZNAKIT_BAD_MODEL, label + ": expected at least one stage, found none.");
  }
  return stages;
}

std::vector<float> parseMean(const std::string& label, std::string_view text, std::size_t count) {
  Words words(label, text);
  std::vector<float> mean;
  mean.reserve(count);
  for (std::string_view word = words.next(); !word.empty(); word = words.next()) {
    if (mean.size() == count) {
      words.fail(std::to_string(count) + " numbers, one for each value of the input, and no more",
                 word);
    }
    mean.push_back(words.number<float>(word, "a finite number"));
  }
  if (mean.size() < count) {
    throw Error(OZNAKIT_BAD_MODEL, label + ": expected " + std::to_string(count) +
                                       " numbers, one for each value of the input, found " +
                                       std::to_string(mean.size()) + ".");
  }
  return mean;
}

std::vector<oznalib::OffsetScale> parseOffsets(const std::string& label, std::string_view text,
                                               std::size_t patterns) {
  Words words(label, text);
  std::vector<oznalib::OffsetScale> offsets;
  const auto shift = [&](std::string_view word) {
    const std::string expected = "a whole shift of at most 10000 pixels";
    const auto value = words.number<std::int32_t>(word, expected);
    if (value < -kMostShift || value > kMostShift) words.fail(expected, word);
    return value;
  };
  for (std::string_view word = words.next(); !word.empty(); word = words.next()) {
    oznalib::OffsetScale entry;
    entry.dx = shift(word);
    entry.dy = shift(words.next());
    const std::string_view scale = words.next();
    const std::string expected = "a scale of 0.1 to 10";
    entry.scale = words.number<float>(scale, expected);
    if (!(entry.scale >= kLeastScale && entry.scale <= kMostScale)) words.fail(expected, scale);
    offsets.push_back(entry);
  }
  if (offsets.size() < patterns) {
    throw Error(OZNAKIT_BAD_MODEL, label + ": expected a shift and a scale for each of " +
                                       std::to_string(patterns) + " patterns, found " +
                                       std::to_string(offsets.size()) + ".");
  }
  return offsets;
}

}  // namespace kit
