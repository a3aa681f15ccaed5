/// A loop whose indices are shared out to threads.

#ifndef OZNA_TRAINING_COMMON_PARALLEL_FOR_H_
#define OZNA_TRAINING_COMMON_PARALLEL_FOR_H_

#include <functional>

namespace training {

/// Calls work(0) ... work(count - 1), each once, on `threads` threads. Which thread takes which
/// index is left open, so work on one index must not depend on another's. The first exception that
/// a call throws is thrown again here once all threads have ended.
void parallelFor(int count, int threads, const std::function<void(int)>& work);

}  // namespace training

#endif  // OZNA_TRAINING_COMMON_PARALLEL_FOR_H_
