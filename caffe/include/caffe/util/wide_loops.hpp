/// RunWide: loops compiled for two instruction sets from one source, the processor's one chosen as
/// they run.

#ifndef CAFFE_UTIL_WIDE_LOOPS_HPP_
#define CAFFE_UTIL_WIDE_LOOPS_HPP_

/// Stands between the parameters and the body of a lambda, or before a function, that is to become
/// a part of both versions.
#if defined(__GNUC__)
#define OZNA_WIDE_LOOP __attribute__((always_inline))
#else
#define OZNA_WIDE_LOOP
#endif

// Tells the compiler that the arrays of the loop that follows either are one or do not overlap.
#if defined(__clang__)
#define OZNA_VECTOR_LOOP _Pragma("clang loop vectorize(assume_safety)")
#elif defined(__GNUC__)
#define OZNA_VECTOR_LOOP _Pragma("GCC ivdep")
#else
#define OZNA_VECTOR_LOOP
#endif

namespace caffe {

/// Whether RunWide takes the wide version: true on an x86-64 processor with AVX2.
bool UsesWideLoops();

/// Chooses the version for the whole process, for tests that compare the two; wide is ignored where
/// the processor cannot run it. Returns the former choice.
bool SetWideLoops(bool wide);

#if defined(__x86_64__) && defined(__GNUC__)
// The attributes, and not flags for a whole file, keep the wide instructions out of inline
// functions that the linker might take for those of other files.
template <typename Loop>
__attribute__((target("avx2"), flatten)) void RunWideVersion(const Loop& loop) {
  loop();
}
#endif

/// Calls loop once, a lambda marked OZNA_WIDE_LOOP, with the instructions that suit the processor.
///
/// Both versions give the same bits: the compiler contracts no product and sum into one rounding,
/// and what it does at once, rather than one after the other, is the same operation on other
/// elements. So the loop must not call what is not inlined and depends on the processor itself.
template <typename Loop>
inline void RunWide(const Loop& loop) {
#if defined(__x86_64__) && defined(__GNUC__)
  if (UsesWideLoops()) {
    RunWideVersion(loop);
    return;
  }
#endif
  loop();
}

}  // namespace caffe

#endif  // CAFFE_UTIL_WIDE_LOOPS_HPP_
