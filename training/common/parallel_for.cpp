// Threads that draw the next index from a shared counter.

#include "training/common/parallel_for.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace training {

void parallelFor(int count, int threads, const std::function<void(int)>& work) {
  std::atomic<int> next{0};
  std::exception_ptr failure;
  std::mutex failure_lock;
  const auto drain = [&] {
    for (int index = next++; index < count; index = next++) {
      try {
        work(index);
      } catch (...) {
        const std::lock_guard<std::mutex> hold(failure_lock);
        if (!failure) failure = std::current_exception();
        next = count;
      }
    }
  };
  std::vector<std::thread> helpers;
  for (int i = 1; i < std::min(threads, count); ++i) helpers.emplace_back(drain);
  drain();
  for (std::thread& helper : helpers) helper.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace training
