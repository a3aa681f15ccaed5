// Taking and giving back.

#include "tools/process/memory_budget.h"

#include <chrono>
#include <utility>

namespace oznatool {

MemoryBudget::Lease::Lease(Lease&& other) noexcept
    : budget_(std::exchange(other.budget_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}

MemoryBudget::Lease& MemoryBudget::Lease::operator=(Lease&& other) noexcept {
  if (this == &other) return *this;
  giveBack();
  budget_ = std::exchange(other.budget_, nullptr);
  bytes_ = std::exchange(other.bytes_, 0);
  return *this;
}

void MemoryBudget::Lease::shrinkTo(std::int64_t bytes) {
  if (budget_ == nullptr || bytes >= bytes_) return;
  budget_->put(bytes_ - bytes);
  bytes_ = bytes;
}

void MemoryBudget::Lease::giveBack() {
  if (budget_ != nullptr) budget_->put(bytes_);
  budget_ = nullptr;
  bytes_ = 0;
}

MemoryBudget::Lease MemoryBudget::take(std::int64_t bytes, const std::function<bool()>& stop) {
  if (bytes > total_) return {};
  std::unique_lock<std::mutex> lock(mutex_);
  while (left_ < bytes) {
    if (stop()) return {};
    freed_.wait_for(lock, std::chrono::milliseconds(100));
  }
  left_ -= bytes;
  return {*this, bytes};
}

void MemoryBudget::put(std::int64_t bytes) {
  const std::lock_guard<std::mutex> lock(mutex_);
  left_ += bytes;
  freed_.notify_all();
}

}  // namespace oznatool
