// The choice between the two versions of the loops.

#include "caffe/util/wide_loops.hpp"

#include <atomic>

namespace caffe {
namespace {

bool ProcessorHasWideLoops() {
#if defined(__x86_64__) && defined(__GNUC__)
  __builtin_cpu_init();  // Other constructors of static objects may run before the compiler's own.
  return __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}

// Starts as false; whoever runs a loop before it is set gets the other version, and the same bits.
std::atomic<bool> uses_wide_loops(ProcessorHasWideLoops());

}  // namespace

bool UsesWideLoops() { return uses_wide_loops.load(std::memory_order_relaxed); }

bool SetWideLoops(bool wide) { return uses_wide_loops.exchange(wide && ProcessorHasWideLoops()); }

}  // namespace caffe
