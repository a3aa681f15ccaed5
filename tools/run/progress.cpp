// The bar and its numbers.

#include "tools/run/progress.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <exception>

#include "tools/process/streams.h"

namespace oznatool {
namespace {

template <class... Values>
std::string printed(const char* format, Values... values) {
  std::array<char, 128> text;
  std::snprintf(text.data(), text.size(), format, values...);
  return text.data();
}

// "0:07", "12:30", "3:05:00"
std::string clockTime(double seconds) {
  constexpr double kLongest = 360000;  // 100 hours: a guess of more says nothing.
  const auto whole = static_cast<int>(std::lround(std::clamp(seconds, 0.0, kLongest)));
  if (whole < 3600) return printed("%d:%02d", whole / 60, whole % 60);
  return printed("%d:%02d:%02d", whole / 3600, whole / 60 % 60, whole % 60);
}

std::string numbers(const ProgressState& state) {
  std::string text = std::to_string(state.done);
  if (state.total) {
    const double share =
        *state.total == 0 ? 1 : static_cast<double>(state.done) / static_cast<double>(*state.total);
    text += printed("/%zu  %3d%%", *state.total, static_cast<int>(100 * share));
  }
  const double rate = state.seconds > 0 ? static_cast<double>(state.done) / state.seconds : 0;
  if (state.done > 0) text += printed("  %.1f/s", rate);
  if (state.total && state.done > 0 && state.done < *state.total && rate > 0) {
    text += "  " + clockTime(static_cast<double>(*state.total - state.done) / rate) + " left";
  }
  if (state.failed > 0) text += printed("  %zu failed", state.failed);
  return text;
}

}  // namespace

std::string progressLine(const ProgressState& state, std::size_t columns) {
  constexpr std::size_t kLongestBar = 40;
  constexpr std::size_t kShortestBar = 5;
  const std::string text = numbers(state);
  if (!state.total || columns < text.size() + kShortestBar + 4) return text.substr(0, columns);
  // Two brackets and two blanks stand around the bar.
  const std::size_t length = std::min(kLongestBar, columns - text.size() - 4);
  const std::size_t filled = *state.total == 0 ? length : length * state.done / *state.total;
  return "[" + std::string(filled, '#') + std::string(length - filled, '-') + "]  " + text;
}

Progress::Progress(ProgressMode mode, bool several)
    : shown_(false), columns_(messageColumns()), begin_(Clock::now()) {
  shown_ = mode == ProgressMode::kAlways || (mode == ProgressMode::kAuto && several && columns_);
  if (shown_) show();
}

Progress::~Progress() {
  if (!shown_) return;
  try {
    showStatus("");
  } catch (const std::exception&) {
    // Without memory the bar stays.
  }
}

std::string Progress::finish() {
  if (!shown_) return "";
  shown_ = false;
  showStatus("");
  const double seconds = std::chrono::duration<double>(Clock::now() - begin_).count();
  std::string text = "in " + clockTime(seconds);
  if (seconds > 0) text += printed(", %.1f/s", static_cast<double>(state_.done) / seconds);
  return text;
}

void Progress::update(std::size_t done, std::size_t failed, std::optional<std::size_t> total) {
  state_.done = done;
  state_.failed = failed;
  if (columns_ && total && !state_.total) last_shown_.reset();  // There is a bar from now on.
  state_.total = total;
  if (shown_) show();
}

void Progress::show() {
  const Clock::time_point now = Clock::now();
  const auto pause = columns_ ? std::chrono::milliseconds(100) : std::chrono::milliseconds(5000);
  if (last_shown_ && now - *last_shown_ < pause) return;
  const bool first = !last_shown_;
  last_shown_ = now;
  state_.seconds = std::chrono::duration<double>(now - begin_).count();
  if (columns_) {
    // The last column stays free: some terminals begin a new line there.
    showStatus(progressLine(state_, static_cast<std::size_t>(std::max(1, *columns_ - 1))));
  } else if (!first) {
    say(progressLine(state_, 100));
  }
}

}  // namespace oznatool
