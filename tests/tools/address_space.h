// Whether the program's address space can be limited.

#ifndef OZNA_TESTS_TOOLS_ADDRESS_SPACE_H_
#define OZNA_TESTS_TOOLS_ADDRESS_SPACE_H_

namespace ozna_test {

// Sanitizers reserve more addresses than any machine has memory.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kAddressSpaceCanBeLimited = false;
#else
constexpr bool kAddressSpaceCanBeLimited = true;
#endif

}  // namespace ozna_test

#endif  // OZNA_TESTS_TOOLS_ADDRESS_SPACE_H_
