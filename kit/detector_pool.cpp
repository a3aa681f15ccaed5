// Lending of detectors.

#include "kit/detector_pool.h"

#include <utility>

namespace kit {

DetectorPool::Loan::Loan(DetectorPool& pool) : pool_(pool), detector_(pool.take()) {}

DetectorPool::Loan::~Loan() { pool_.giveBack(std::move(detector_)); }

std::unique_ptr<oznalib::DetectorImpl> DetectorPool::take() {
  {
    const std::lock_guard<std::mutex> guard(mutex_);
    if (!idle_.empty()) {
      // The one that was used last, whose memory is warm.
      std::unique_ptr<oznalib::DetectorImpl> detector = std::move(idle_.back());
      idle_.pop_back();
      return detector;
    }
    idle_.reserve(count_ + 1);
    ++count_;
    if (unused_ != nullptr) return std::move(unused_);
  }
  try {
    return cascade_.makeDetector();
  } catch (...) {
    const std::lock_guard<std::mutex> guard(mutex_);
    --count_;
    throw;
  }
}

void DetectorPool::giveBack(std::unique_ptr<oznalib::DetectorImpl> detector) noexcept {
  const std::lock_guard<std::mutex> guard(mutex_);
  idle_.push_back(std::move(detector));
}

void DetectorPool::trim() {
  std::vector<std::unique_ptr<oznalib::DetectorImpl>> freed;
  const std::lock_guard<std::mutex> guard(mutex_);
  freed.reserve(idle_.size());
  count_ -= idle_.size();
  for (auto& detector : idle_) freed.push_back(std::move(detector));
  idle_.clear();  // Keeps its room for those that are lent.
}

int DetectorPool::count() const {
  const std::lock_guard<std::mutex> guard(mutex_);
  return static_cast<int>(count_);
}

}  // namespace kit
