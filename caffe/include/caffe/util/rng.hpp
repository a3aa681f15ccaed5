/// The engine behind Caffe::RNG, for code that draws from it by a distribution of its own.

#ifndef CAFFE_UTIL_RNG_HPP_
#define CAFFE_UTIL_RNG_HPP_

#include <boost/random/mersenne_twister.hpp>

#include "caffe/common.hpp"

namespace caffe {

using rng_t = boost::mt19937;

/// The engine of the singleton.
inline rng_t* caffe_rng() { return static_cast<rng_t*>(Caffe::rng_stream().generator()); }

}  // namespace caffe

#endif  // CAFFE_UTIL_RNG_HPP_
