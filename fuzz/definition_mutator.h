/// Mutation of text definitions by the fields of the schema, so that most results still parse.

#ifndef OZNA_FUZZ_DEFINITION_MUTATOR_H_
#define OZNA_FUZZ_DEFINITION_MUTATOR_H_

#include <cstddef>
#include <cstdint>

namespace ozna_fuzz {

/// Changes one to three fields or layers of the text definition in data, in place; a text that does
/// not parse, and now and then one that does, is changed byte by byte. Returns the new size, at
/// most max_size.
std::size_t MutateDefinition(std::uint8_t* data, std::size_t size, std::size_t max_size,
                             unsigned int seed);

}  // namespace ozna_fuzz

#endif  // OZNA_FUZZ_DEFINITION_MUTATOR_H_
