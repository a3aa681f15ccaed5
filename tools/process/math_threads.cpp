// Thread limits of the libraries below.

#include "tools/process/math_threads.h"

#include <dlfcn.h>

#include <cstdlib>
#include <opencv2/core/utility.hpp>

namespace oznatool {

void limitMathThreads() {
  // For libraries that are loaded later, which would start their threads then: that of raw
  // photographs does.
  setenv("OPENBLAS_NUM_THREADS", "1", /*overwrite=*/1);
  setenv("OMP_NUM_THREADS", "1", /*overwrite=*/1);
  // Looked up by name, since the program must start with any BLAS that the library was linked with.
  using SetNumThreads = void (*)(int);
  const auto set_blas_threads =
      reinterpret_cast<SetNumThreads>(dlsym(RTLD_DEFAULT, "openblas_set_num_threads"));
  if (set_blas_threads != nullptr) set_blas_threads(1);
  cv::setNumThreads(1);
}

}  // namespace oznatool
