/// Mutation of a packed model directory, one file at a time.

#ifndef OZNA_FUZZ_DIRECTORY_MUTATOR_H_
#define OZNA_FUZZ_DIRECTORY_MUTATOR_H_

#include <cstddef>
#include <cstdint>

namespace ozna_fuzz {

/// Changes one file of the directory in data (see small_models.h), a definition by the fields of
/// its schema, in place. Returns the new size, at most max_size.
std::size_t MutateDirectory(std::uint8_t* data, std::size_t size, std::size_t max_size,
                            unsigned int seed);

}  // namespace ozna_fuzz

#endif  // OZNA_FUZZ_DIRECTORY_MUTATOR_H_
