// Caffe: the singleton and its random source.

#include "caffe/common.hpp"

#include <unistd.h>

#include <boost/make_shared.hpp>
#include <ctime>

#include "caffe/util/rng.hpp"

namespace caffe {

class Caffe::RNG::Generator {
 public:
  explicit Generator(std::uint32_t seed) : engine_(boost::make_shared<rng_t>(seed)) {}

  rng_t* engine() const { return engine_.get(); }

 private:
  boost::shared_ptr<rng_t> engine_;
};

std::uint32_t Caffe::RNG::SeedFrom(std::int64_t process_id, std::int64_t time_seconds) {
  // Unsigned, so that the product wraps at 64 bits for any argument.
  const std::uint64_t product = (static_cast<std::uint64_t>(process_id) - 83) *
                                static_cast<std::uint64_t>(time_seconds) * 64979;
  const std::int64_t remainder = static_cast<std::int64_t>(product) % 104729;
  return static_cast<std::uint32_t>(remainder < 0 ? -remainder : remainder);
}

Caffe::RNG::RNG() : RNG(SeedFrom(getpid(), std::time(nullptr))) {}

Caffe::RNG::RNG(std::uint32_t seed) : generator_(boost::make_shared<Generator>(seed)) {}

void* Caffe::RNG::generator() const { return generator_->engine(); }

Caffe::Caffe() : mode_(CPU), phase_(TRAIN) {}

Caffe& Caffe::Get() {
  static Caffe singleton;
  return singleton;
}

Caffe::RNG& Caffe::rng_stream() {
  if (!Get().random_generator_) {
    Get().random_generator_ = boost::make_shared<RNG>();
  }
  return *Get().random_generator_;
}

void Caffe::set_random_seed(std::uint32_t seed) {
  Get().random_generator_ = boost::make_shared<RNG>(seed);
}

}  // namespace caffe
