/// The frame of the trainers' programs.

#ifndef OZNA_TRAINING_COMMON_PROGRAM_H_
#define OZNA_TRAINING_COMMON_PROGRAM_H_

#include <functional>
#include <string>

namespace training {

/// Does the work of a program and returns its exit status: 1 where the work throws, with the
/// program's name and the exception's text on standard error.
///
/// math_threads  Of the mathematics library. The bits of a product depend on how it is split among
///               them, so their number is fixed before the work begins.
int runProgram(const std::string& name, int math_threads, const std::function<void()>& work);

}  // namespace training

#endif  // OZNA_TRAINING_COMMON_PROGRAM_H_
