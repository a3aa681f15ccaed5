// A library without models of its own.

#include "kit/models/built_in_models.h"

namespace kit {

const BuiltInFile* const kBuiltInFiles = nullptr;
const std::size_t kBuiltInFileCount = 0;

}  // namespace kit
