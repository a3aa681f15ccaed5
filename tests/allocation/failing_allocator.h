/// An allocator of the whole process that fails where it is asked to, and counts what is not freed.
///
/// Linked into a program, it takes the place of malloc and its kin, and so of operator new, for the
/// libraries of the program too. A sanitizer, which needs malloc for itself, goes without it.

#ifndef OZNA_TESTS_ALLOCATION_FAILING_ALLOCATOR_H_
#define OZNA_TESTS_ALLOCATION_FAILING_ALLOCATOR_H_

namespace failing_allocator {

/// How many allocations fail.
enum class Failure {
  kOne,       ///< The one that was named.
  kOneAndOn,  ///< It and all after it, as where memory has run out.
};

/// From now on counts allocations of all threads, and fails number `index`, counted from 1. An
/// index of 0 fails none.
void arm(long index, Failure failure);

/// Ends the counting. Returns the number of allocations since arm.
long disarm();

/// Whether an allocation failed since the last arm.
bool failed();

/// Blocks that were allocated and not freed since the start of the process.
long liveBlocks();

}  // namespace failing_allocator

#endif  // OZNA_TESTS_ALLOCATION_FAILING_ALLOCATOR_H_
