// Progress and cancelling.

#include "kit/search/work_progress.h"

#include <algorithm>

#include "kit/error.h"

namespace kit {
namespace {

// Far below the 50 milliseconds within which a call is to stop, and rare enough for a host that
// takes a lock of its own.
constexpr std::chrono::milliseconds kBetweenPauses(5);

}  // namespace

void WorkProgress::beginPart(double units, double end_share) {
  begin_ = told_;
  end_ = std::max(end_share, begin_);
  units_ = std::max(units, 1e-9);
  finished_ = 0;
  ask();
}

void WorkProgress::finishUnits(double units) {
  finished_ = std::min(finished_ + units, units_);
  ask();
}

void WorkProgress::pause() {
  if (callback_ == nullptr) return;
  if (std::chrono::steady_clock::now() - asked_ >= kBetweenPauses) ask();
}

void WorkProgress::finish() {
  end_ = 1;
  finished_ = units_;
  ask();
}

void WorkProgress::ask() {
  if (callback_ == nullptr) return;
  const double done = begin_ + (end_ - begin_) * (finished_ / units_);
  told_ = std::clamp(static_cast<float>(done), told_, 1.0F);
  if (callback_(told_, context_) == 0) {
    throw Error(OZNAKIT_CANCELLED, "The progress callback asked to stop.");
  }
  asked_ = std::chrono::steady_clock::now();
}

}  // namespace kit
