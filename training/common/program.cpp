// Threads and exceptions of a program.

#include "training/common/program.h"

#include <exception>
#include <iostream>

// Absent where another library serves the products.
extern "C" void openblas_set_num_threads(int threads) __attribute__((weak));

namespace training {

int runProgram(const std::string& name, int math_threads, const std::function<void()>& work) {
  if (openblas_set_num_threads != nullptr) openblas_set_num_threads(math_threads);
  try {
    work();
  } catch (const std::exception& error) {
    std::cerr << name << ": " << error.what() << std::endl;
    return 1;
  }
  return 0;
}

}  // namespace training
