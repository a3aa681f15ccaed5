/// Keeps the mathematics and image libraries to one thread.

#ifndef OZNA_TOOLS_MATH_THREADS_H_
#define OZNA_TOOLS_MATH_THREADS_H_

namespace oznatool {

/// Sets OpenBLAS, where that is the loaded BLAS, and OpenCV to one thread for the whole process.
///
/// The matrix products of the networks are so small that sharing them out costs more than it gains.
/// Call it before any of the two libraries is used.
void limitMathThreads();

}  // namespace oznatool

#endif  // OZNA_TOOLS_MATH_THREADS_H_
