/// Where the bytes of model files come from: a directory, memory, or this library itself.

#ifndef OZNA_KIT_MODELS_MODEL_SOURCE_H_
#define OZNA_KIT_MODELS_MODEL_SOURCE_H_

#include <cstddef>
#include <memory>
#include <string>

#include "kit/models/model_file.h"
#include "kit/oznakit.h"

namespace kit {

/// Files by their names relative to the models' directory, '/' between folders.
class ModelSource {
 public:
  virtual ~ModelSource() = default;

  /// A file, to be read from its beginning.
  ///
  /// largest  In bytes; a larger file is refused before it is read.
  /// Returns  Bytes in memory, given ones and those inside the library, are not copied: they must
  ///          outlive it.
  /// Errors   Error with OZNAKIT_NO_MODEL where there is no such file or it cannot be read, with
  ///          OZNAKIT_BAD_MODEL where it is too large.
  virtual std::unique_ptr<ModelFile> open(const std::string& name, std::size_t largest) const = 0;

  /// The whole content of a file. What open says holds here too.
  virtual FileContent read(const std::string& name, std::size_t largest) const = 0;

  /// The file's name for messages.
  virtual std::string labelOf(const std::string& name) const = 0;

  virtual bool has(const std::string& name) const = 0;

  /// The directory, "memory" or "built in".
  virtual std::string place() const = 0;
};

/// A directory. Only regular files are opened: what a name stands for is looked at once more when
/// it is open, so that a pipe or a device keeps nobody waiting.
std::unique_ptr<ModelSource> directorySource(const std::string& directory);

/// Files of the caller, which stay its own and must live as long as the source.
///
/// Errors  Error with OZNAKIT_BAD_ARGUMENT for a null pointer.
std::unique_ptr<ModelSource> memorySource(const oznakit_file* files, std::size_t count);

/// The models inside this library; null where it was built without.
std::unique_ptr<ModelSource> builtInSource();

/// A source and a word for why it is the one.
struct FoundModels {
  std::unique_ptr<ModelSource> source;
  std::string reason;  ///< As in oznakit_finder_info.
};

/// The source that the options ask for, or the first of the usual places that there is.
///
/// Errors  Error with OZNAKIT_BAD_ARGUMENT or OZNAKIT_NO_MODEL.
FoundModels findModels(const oznakit_model_options& options);

}  // namespace kit

#endif  // OZNA_KIT_MODELS_MODEL_SOURCE_H_
