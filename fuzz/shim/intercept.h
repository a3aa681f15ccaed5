/// Included ahead of every source of the runtime when it is built for fuzzing: exit refuses the
/// input, and a block of memory has an upper size.

#ifndef OZNA_FUZZ_SHIM_INTERCEPT_H_
#define OZNA_FUZZ_SHIM_INTERCEPT_H_

#include <stdlib.h>

#include <cstddef>
#include <cstdlib>

#ifdef __cplusplus
extern "C++" {
[[noreturn]] void ozna_fuzz_exit(int status);
void* ozna_fuzz_malloc(std::size_t size);
void* ozna_fuzz_calloc(std::size_t count, std::size_t size);
}
namespace std {
using ::ozna_fuzz_calloc;
using ::ozna_fuzz_exit;
using ::ozna_fuzz_malloc;
}  // namespace std
#define exit ozna_fuzz_exit
#define malloc ozna_fuzz_malloc
#define calloc ozna_fuzz_calloc
#endif

#endif  // OZNA_FUZZ_SHIM_INTERCEPT_H_
