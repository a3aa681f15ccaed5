// A library without models of its own.

#include "kit/models/built_in_models.h"

namespace kit {

const BuiltInFile* const builtInFiles = nullptr;
const std::size_t builtInFileCount = 0;

}  // namespace kit
