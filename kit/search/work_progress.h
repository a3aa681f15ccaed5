/// Tells the host how far a call is, and ends the call where the host says so.

#ifndef OZNA_KIT_SEARCH_WORK_PROGRESS_H_
#define OZNA_KIT_SEARCH_WORK_PROGRESS_H_

#include <chrono>

#include "kit/oznakit.h"

namespace kit {

/// Every function that asks the host throws Error with OZNAKIT_CANCELLED where the answer is to
/// stop.
/// Threads  That of the call.
class WorkProgress {
 public:
  /// callback  Null: nobody is asked.
  WorkProgress(oznakit_progress callback, void* context) : callback_(callback), context_(context) {}

  /// The next part of the call, in units of work of the caller's choice; it takes the progress from
  /// where it is to a share of the whole. Asks the host.
  void beginPart(double units, double end_share);

  /// So many units of the part are done. Asks the host.
  void finishUnits(double units);

  /// The middle of a unit. Asks the host, but not again within some milliseconds.
  void pause();

  /// All is done. Asks the host.
  void finish();

  bool hasListener() const { return callback_ != nullptr; }

 private:
  void ask();

  oznakit_progress callback_;
  void* context_;
  double begin_ = 0, end_ = 0;  // Shares of the whole at both ends of the part.
  double units_ = 1, finished_ = 0;
  float told_ = 0;
  std::chrono::steady_clock::time_point asked_ = {};
};

}  // namespace kit

#endif  // OZNA_KIT_SEARCH_WORK_PROGRESS_H_
