/// Shows how far a run has come: a bar on a terminal, lines elsewhere.

#ifndef OZNA_TOOLS_RUN_PROGRESS_H_
#define OZNA_TOOLS_RUN_PROGRESS_H_

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace oznatool {

enum class ProgressMode { kAuto, kAlways, kNever };

/// How far a run has come.
struct ProgressState {
  std::size_t done = 0;
  std::size_t failed = 0;            ///< Of those done.
  std::optional<std::size_t> total;  ///< Once it is known.
  double seconds = 0;                ///< Since the beginning.
};

/// The state in one line of at most this many characters: bar, numbers, photographs per second,
/// remaining time and failures. Bar and remaining time need the total.
std::string progressLine(const ProgressState& state, std::size_t columns);

/// Threads  One at a time.
class Progress {
 public:
  /// several  Whether there may be more than one photograph: kAuto shows nothing for one, nor
  /// anywhere but on a terminal.
  Progress(ProgressMode mode, bool several);
  /// Takes the bar away.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows a new state. A terminal sees at most ten per second, and the first with a total at once,
  /// so that the shortest run has a bar; other targets see one every five seconds.
  void update(std::size_t done, std::size_t failed, std::optional<std::size_t> total);

  /// Takes the bar away. Returns what the closing line says of time, as "in 0:05, 2.0/s"; an
  /// empty text where no progress was shown.
  std::string finish();

 private:
  using Clock = std::chrono::steady_clock;
  void show();

  bool shown_;
  std::optional<int> columns_;  // Of the terminal.
  Clock::time_point begin_;
  std::optional<Clock::time_point> last_shown_;
  ProgressState state_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_RUN_PROGRESS_H_
