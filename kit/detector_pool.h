/// Lends detectors to searches that run at the same time.

#ifndef OZNA_KIT_DETECTOR_POOL_H_
#define OZNA_KIT_DETECTOR_POOL_H_

#include <cstddef>
#include <memory>
#include <mutex>
#include <vector>

#include "detector/detector_impl.h"
#include "kit/models/cascade.h"

namespace kit {

/// As many detectors as were lent at the same time.
///
/// Threads  Any number may borrow, give back and trim at once.
class DetectorPool {
 public:
  /// cascade  Must outlive the pool, which takes its first detector.
  explicit DetectorPool(Cascade& cascade) : cascade_(cascade), unused_(cascade.takeFirst()) {}

  /// A detector for the life of this object, which must not outlive the pool.
  class Loan {
   public:
    /// Takes an idle detector or makes one. Errors  std::bad_alloc; the pool is as it was.
    explicit Loan(DetectorPool& pool);
    ~Loan();
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;
    oznalib::DetectorImpl& detector() { return *detector_; }

   private:
    DetectorPool& pool_;
    std::unique_ptr<oznalib::DetectorImpl> detector_;
  };

  /// Frees the detectors that nobody has borrowed.
  void trim();

  /// Detectors that there are, lent ones included.
  int count() const;

 private:
  std::unique_ptr<oznalib::DetectorImpl> take();
  void giveBack(std::unique_ptr<oznalib::DetectorImpl> detector) noexcept;

  const Cascade& cascade_;
  mutable std::mutex mutex_;
  std::unique_ptr<oznalib::DetectorImpl> unused_;  // Not counted; null once it was lent.
  // Has room for all detectors that there are, so that giving back needs no memory.
  std::vector<std::unique_ptr<oznalib::DetectorImpl>> idle_;
  std::size_t count_ = 0;
};

}  // namespace kit

#endif  // OZNA_KIT_DETECTOR_POOL_H_
