/// A budget of memory that threads share: who needs more than is left waits.

#ifndef OZNA_TOOLS_PROCESS_MEMORY_BUDGET_H_
#define OZNA_TOOLS_PROCESS_MEMORY_BUDGET_H_

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

namespace oznatool {

/// Bytes that are handed out and given back. Any thread may call it.
class MemoryBudget {
 public:
  /// A part of the budget, given back at its end.
  class Lease {
   public:
    Lease() = default;
    Lease(Lease&& other) noexcept;
    Lease& operator=(Lease&& other) noexcept;
    ~Lease() { giveBack(); }
    /// Gives back all but this many bytes; none where it holds fewer.
    void shrinkTo(std::int64_t bytes);

   private:
    friend class MemoryBudget;
    Lease(MemoryBudget& budget, std::int64_t bytes) : budget_(&budget), bytes_(bytes) {}
    void giveBack();

    MemoryBudget* budget_ = nullptr;  // Null where nothing was taken.
    std::int64_t bytes_ = 0;
  };

  explicit MemoryBudget(std::int64_t bytes) : total_(bytes), left_(bytes) {}

  std::int64_t total() const { return total_; }

  /// Waits until as many bytes are free, and takes them. Takes none, without waiting, where the
  /// whole budget is smaller or where stop, which is asked from time to time, says so.
  Lease take(std::int64_t bytes, const std::function<bool()>& stop);

 private:
  void put(std::int64_t bytes);

  const std::int64_t total_;
  std::mutex mutex_;
  std::condition_variable freed_;
  std::int64_t left_;  // Guarded by mutex_.
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_PROCESS_MEMORY_BUDGET_H_
