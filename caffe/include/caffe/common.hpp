/// Caffe: the process-wide mode, phase and random source of the network runtime, and the names that
/// all its files use.

#ifndef CAFFE_COMMON_HPP_
#define CAFFE_COMMON_HPP_

#include <glog/logging.h>

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace caffe {

using boost::shared_ptr;
using std::map;
using std::set;
using std::string;
using std::vector;

/// The singleton. A fresh one is in mode CPU and in the train phase.
///
/// Threads: one object for the whole process, without a lock. Loads of detectors write mode and
/// phase, always the same values.
class Caffe {
 public:
  enum Brew : std::int32_t {
    CPU = 0,
    GPU = 1
  };  // GPU runs the same host code: no device code exists.
  enum Phase : std::int32_t { TRAIN = 0, TEST = 1 };

  /// A stream of random numbers: a shared Mersenne twister.
  class RNG {
   public:
    /// Seeds from the process id and the time.
    RNG();
    explicit RNG(std::uint32_t seed);

    class Generator;
    /// The engine, a boost::mt19937; caffe/util/rng.hpp gives it its type.
    void* generator() const;

    /// Seed of a default generator: |((pid - 83) * time * 64979) mod 104729|, the product in 64
    /// bits.
    static std::uint32_t SeedFrom(std::int64_t process_id, std::int64_t time_seconds);

   private:
    boost::shared_ptr<Generator> generator_;
  };

  static Caffe& Get();

  static Brew mode() { return Get().mode_; }
  static Phase phase() { return Get().phase_; }
  static void set_mode(Brew mode) { Get().mode_ = mode; }
  static void set_phase(Phase phase) { Get().phase_ = phase; }

  /// The stream of the singleton, created on first use.
  static RNG& rng_stream();
  /// Restarts the stream of the singleton from a seed. Detection draws nothing, so results never
  /// depend on it.
  static void set_random_seed(std::uint32_t seed);

 private:
  Caffe();

  boost::shared_ptr<RNG> random_generator_;  // Empty until first used.
  // Atomic, since one thread may load a detector while another one's layers read the mode.
  std::atomic<Brew> mode_;
  std::atomic<Phase> phase_;
};

}  // namespace caffe

#endif  // CAFFE_COMMON_HPP_
