// Values of options.

#include "tools/arguments/option_values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

#include "tools/arguments/nearest_word.h"
#include "tools/process/exit_code.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

[[noreturn]] void refuse(const std::string& option, const std::string& accepted,
                         const std::string& text) {
  throw Failure(kExitUsage, option + " takes " + accepted + ", not " + printable(text));
}

template <class T>
bool parse(const std::string& text, T* value) {
  const std::from_chars_result result =
      std::from_chars(text.data(), text.data() + text.size(), *value);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
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
  int value = 0;
  if (!parse(text, &value) || value < least || value > most) {
    refuse(option, "a whole number from " + std::to_string(least) + " to " + std::to_string(most),
           text);
  }
  return value;
}

float number(const std::string& option, const std::string& text) {
  float value = 0;
  if (!parse(text, &value)) refuse(option, "a number", text);
  return value;
}

double percent(const std::string& option, const std::string& text, double most) {
  std::string digits = text;
  if (!digits.empty() && digits.back() == '%') digits.pop_back();
  double value = 0;
  // The comparison also turns NaN away.
  if (!parse(digits, &value) || !(value >= 0 && value <= most)) {
    refuse(option, "0 to " + std::to_string(static_cast<int>(most)) + " percent", text);
  }
  return value;
}

float score(const std::string& option, const std::string& text) {
  float value = 0;
  // The comparison also turns NaN away.
  if (!parse(text, &value) || !(value >= 0 && value <= 1)) refuse(option, "0 to 1", text);
  return value;
}

std::string word(const std::string& option, const std::string& text,
                 const std::vector<std::string>& words) {
  if (std::find(words.begin(), words.end(), text) != words.end()) return text;
  const std::string near = nearestWord(text, words);
  refuse(option, listed(words), text + (near.empty() ? "" : "; did you mean " + near + "?"));
}

Shard shard(const std::string& option, const std::string& text) {
  constexpr int kMostShards = 1000000;
  const std::size_t slash = text.find('/');
  Shard shard;
  if (slash == std::string::npos || !parse(text.substr(0, slash), &shard.number) ||
      !parse(text.substr(slash + 1), &shard.count) || shard.number < 1 ||
      shard.number > shard.count || shard.count > kMostShards) {
    refuse(option, "I/N, share I of N with I from 1 to N", text);
  }
  return shard;
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
