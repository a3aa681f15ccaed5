/// Keeps the mathematics and image libraries to one thread.

#ifndef OZNA_TOOLS_PROCESS_MATH_THREADS_H_
#define OZNA_TOOLS_PROCESS_MATH_THREADS_H_

namespace oznatool {

/// Sets OpenBLAS, where that is or comes to be loaded, and OpenCV to one thread for the whole
/// process.
///
/// The library's own products start no thread, but where it was built without its own mathematics
/// library it calls a shared one, and the picture codecs of a module load one that they never call.
/// Call it before any other thread is started.
void limitMathThreads();

}  // namespace oznatool

#endif  // OZNA_TOOLS_PROCESS_MATH_THREADS_H_
