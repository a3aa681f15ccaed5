// Values of options.

#include "tools/arguments/option_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <optional>

#include "tools/arguments/nearest_word.h"
#include "tools/process/exit_code.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

[[noreturn]] void refuse(const std::string& option, const std::string& accepted,
                         const std::string& text) {
  throw Failure(kExitUsage, option + " takes " + accepted + ", not " + printable(text));
}

// The number that a text is; nothing where it is anything else.
template <class T>
std::optional<T> parsed(const std::string& text) {
  T value = 0;
  const std::from_chars_result result =
      std::from_chars(text.data(), text.data() + text.size(), value);
  const bool is_number = result.ec == std::errc() && result.ptr == text.data() + text.size();
  return is_number ? std::optional<T>(value) : std::nullopt;
}

// "a, b or c"
std::string listed(const std::vector<std::string>& words) {
  std::string list;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) list += i + 1 == words.size() ? " or " : ", ";
    list += words[i];
  }
  return list;
}

}  // namespace

int wholeNumber(const std::string& option, const std::string& text, int least, int most) {
  const std::optional<int> value = parsed<int>(text);
  if (!value || *value < least || *value > most) {
    refuse(option, "a whole number from " + std::to_string(least) + " to " + std::to_string(most),
           text);
  }
  return *value;
}

float number(const std::string& option, const std::string& text) {
  const std::optional<float> value = parsed<float>(text);
  if (!value) refuse(option, "a number", text);
  return *value;
}

double percent(const std::string& option, const std::string& text, double most) {
  std::string digits = text;
  if (!digits.empty() && digits.back() == '%') digits.pop_back();
  const std::optional<double> value = parsed<double>(digits);
  // The comparison also turns NaN away.
  if (!value || !(*value >= 0 && *value <= most)) {
    refuse(option, "0 to " + std::to_string(static_cast<int>(most)) + " percent", text);
  }
  return *value;
}

float score(const std::string& option, const std::string& text) {
  const std::optional<float> value = parsed<float>(text);
  // The comparison also turns NaN away.
  if (!value || !(*value >= 0 && *value <= 1)) refuse(option, "0 to 1", text);
  return *value;
}

std::string word(const std::string& option, const std::string& text,
                 const std::vector<std::string>& words) {
  if (std::find(words.begin(), words.end(), text) != words.end()) return text;
  const std::string near = nearestWord(text, words);
  refuse(option, listed(words), text + (near.empty() ? "" : "; did you mean " + near + "?"));
}

Shard shard(const std::string& option, const std::string& text) {
  constexpr int kMostShards = 1000000;
  const std::size_t slash = std::min(text.find('/'), text.size());
  const std::optional<int> number = parsed<int>(text.substr(0, slash));
  const std::optional<int> count = parsed<int>(text.substr(std::min(slash + 1, text.size())));
  if (!number || !count || *number < 1 || *number > *count || *count > kMostShards) {
    refuse(option, "I/N, share I of N with I from 1 to N", text);
  }
  return {*number, *count};
}

oznakit::Box box(const std::string& option, const std::string& text) {
  constexpr float kFarthest = 1e6F;  // In pixels. No photograph is as large.
  const auto refuse_box = [&] {
    refuse(option, "left,top,right,bottom with left below right and top below bottom", text);
  };
  std::array<float, 4> edges;
  const char* at = text.data();
  const char* const end = text.data() + text.size();
  for (std::size_t i = 0; i < edges.size(); ++i) {
    if (i > 0 && (at == end || *at++ != ',')) refuse_box();
    const std::from_chars_result result = std::from_chars(at, end, edges[i]);
    // The comparison also turns NaN away.
    if (result.ec != std::errc() || !(std::abs(edges[i]) <= kFarthest)) refuse_box();
    at = result.ptr;
  }
  if (at != end || edges[0] >= edges[2] || edges[1] >= edges[3]) refuse_box();
  return {edges[0], edges[1], edges[2], edges[3]};
}

}  // namespace oznatool
