// One file of ten.

#include "fuzz/directory_mutator.h"

#include <algorithm>
#include <string>

#include "fuzz/definition_mutator.h"
#include "fuzz/small_models.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace ozna_fuzz {

std::size_t MutateDirectory(std::uint8_t* data, std::size_t size, std::size_t max_size,
                            unsigned int seed) {
  Directory directory = UnpackDirectory(data, size);
  const int chosen = static_cast<int>(seed / 8 % kDirectoryFiles);
  std::string& file = directory[chosen];
  const std::size_t old_size = file.size();
  const std::size_t most = std::min<std::size_t>(
      65535, max_size > size ? old_size + (max_size - size) : std::max<std::size_t>(old_size, 1));
  file.resize(std::max(most, old_size));
  auto* const bytes = reinterpret_cast<std::uint8_t*>(file.data());
  file.resize(IsDefinition(chosen) ? MutateDefinition(bytes, old_size, most, seed)
                                   : LLVMFuzzerMutate(bytes, old_size, most));
  const std::string packed = PackDirectory(directory);
  if (packed.size() > max_size) return LLVMFuzzerMutate(data, size, max_size);
  std::copy(packed.begin(), packed.end(), data);
  return packed.size();
}

}  // namespace ozna_fuzz
