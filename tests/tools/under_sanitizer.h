/// Whether the tests and the program are built with a sanitizer.

#ifndef OZNA_TESTS_TOOLS_UNDER_SANITIZER_H_
#define OZNA_TESTS_TOOLS_UNDER_SANITIZER_H_

namespace ozna_test {

// Limits of addresses, descriptors and threads cannot be tried there: sanitizers reserve more
// addresses than any machine has memory, and their checks open descriptors and start a thread.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kUnderSanitizer = true;
#else
constexpr bool kUnderSanitizer = false;
#endif

}  // namespace ozna_test

#endif  // OZNA_TESTS_TOOLS_UNDER_SANITIZER_H_
