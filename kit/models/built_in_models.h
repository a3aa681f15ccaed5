/// The bytes of the model files that the build put into the library.

#ifndef OZNA_KIT_MODELS_BUILT_IN_MODELS_H_
#define OZNA_KIT_MODELS_BUILT_IN_MODELS_H_

#include <cstddef>

namespace kit {

struct BuiltInFile {
  const char* name;  ///< Relative to the models' directory.
  const unsigned char* begin;
  const unsigned char* end;
};

/// The build writes both; a library without models has none of them.
extern const BuiltInFile* const kBuiltInFiles;
extern const std::size_t kBuiltInFileCount;

}  // namespace kit

#endif  // OZNA_KIT_MODELS_BUILT_IN_MODELS_H_
