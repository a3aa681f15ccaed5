/// One function for each element of an array, in a loop that the compiler vectorises.

#ifndef CAFFE_UTIL_VECTOR_MAP_HPP_
#define CAFFE_UTIL_VECTOR_MAP_HPP_

#include "caffe/util/wide_loops.hpp"

namespace caffe {

/// y[i] = function(a[i]) for n elements. y may be a, but must not overlap it in any other way.
///
/// function  Free of branches and of calls, or the loop is not vectorised.
template <typename Function>
inline void Map(int n, const float* a, float* y, Function function) {
  RunWide([=]() OZNA_WIDE_LOOP {
    OZNA_VECTOR_LOOP
    for (int i = 0; i < n; ++i) {
      y[i] = function(a[i]);
    }
  });
}

/// y[i] = function(a[i], b[i]), likewise.
template <typename Function>
inline void Map(int n, const float* a, const float* b, float* y, Function function) {
  RunWide([=]() OZNA_WIDE_LOOP {
    OZNA_VECTOR_LOOP
    for (int i = 0; i < n; ++i) {
      y[i] = function(a[i], b[i]);
    }
  });
}

}  // namespace caffe

#endif  // CAFFE_UTIL_VECTOR_MAP_HPP_
