/// The photographs that the user named: files, folders and lists on standard input, in their order.

#ifndef OZNA_TOOLS_RUN_INPUTS_H_
#define OZNA_TOOLS_RUN_INPUTS_H_

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "tools/photograph/input.h"
#include "tools/process/exit_code.h"
#include "tools/run/run_summary.h"

namespace oznatool {

/// One of so many shares of the photographs, for runs beside each other.
struct Shard {
  int number = 1;  ///< From 1 to count.
  int count = 1;
};

/// Where the photographs are named.
struct InputOptions {
  std::vector<std::string> names;          ///< Files, folders, or "-" for a list on standard input.
  bool recursive = false;                  ///< Folders stand for the photographs in and below them.
  char list_end = '\n';                    ///< Ends a name of the list: a line break or NUL.
  Shard shard;                             ///< Photographs of other shards are left out.
  std::vector<std::string> left_out = {};  ///< Folders below the named ones that are passed over.
};

/// Gathers the inputs in a thread of its own, ahead of those who take them, so that their number is
/// known early and a list that comes slowly is worked on as it comes. A list with a name of more
/// than 64 KiB, which no file can have, ends there; what begins as a picture does is taken for one.
/// A path that was named before is left out.
class Inputs {
 public:
  /// skip  Inputs that it is true for are left out; called in the gathering thread.
  /// look  Sees every input first, also those that are left out, and may throw what ends the
  ///       gathering. Where there is one, no input is given out before all have passed it.
  Inputs(const InputOptions& options, std::function<bool(const Input&)> skip,
         std::function<void(const Input&)> look = nullptr);
  ~Inputs();
  Inputs(const Inputs&) = delete;
  Inputs& operator=(const Inputs&) = delete;

  /// The next input, in order; waits for it. Nothing at the end or where stop, which is asked from
  /// time to time, says so. Throws what ended the gathering, which no list or folder does.
  std::optional<Input> next(const std::function<bool()>& stop);

  /// The number of all inputs, once it is known.
  std::optional<std::size_t> total() const;

  /// What went wrong with the inputs themselves, once all of them were given out: kExitUsage for
  /// what is not a list, kExitPhotographs for one that cannot be read to its end.
  ExitCode status() const;

  /// What was left out, once all inputs were given out; the other counts are 0.
  RunSummary leftOut() const;

  /// Whether more than one photograph may be named: true also for a folder or a list that turns out
  /// to hold one.
  static bool maySeveral(const InputOptions& options);

 private:
  void gather();
  void gatherAll();
  void gatherOne(const std::string& name);
  void gatherFolder(const std::string& folder);
  void gatherList();
  void gatherPicture(std::vector<unsigned char> bytes);
  void giveUpList(ExitCode status, const std::string& reason);
  void add(Input input);
  void passOver(const std::string& kind);
  bool isLeftOut(const std::string& folder) const;

  const InputOptions options_;
  const std::function<bool(const Input&)> skip_;
  const std::function<void(const Input&)> look_;
  std::atomic<bool> stop_{false};
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Input> waiting_;  // Guarded by mutex_, as what follows.
  std::size_t gathered_ = 0;
  bool finished_ = false;
  ExitCode status_ = kExitOk;
  RunSummary left_out_;
  std::exception_ptr error_;
  std::unordered_set<std::string> named_;  // Of the gathering thread, where a path may come twice.
  std::thread thread_;
};

/// Whether a photograph belongs to a shard. Its path alone decides, so that shards may be worked on
/// at different times, while photographs come and go.
bool isOfShard(const std::string& path, const Shard& shard);

/// Whether bytes begin as a picture does and as no list of names.
bool beginsAsPicture(const char* bytes, std::size_t size);

/// Whether a file name ends as photographs do that the program reads, in letters of any case.
bool hasPhotographEnding(const std::string& name);

}  // namespace oznatool

#endif  // OZNA_TOOLS_RUN_INPUTS_H_
