// The models inside the library, where it was built with them.

#include "kit/models/built_in_models.h"

#include <string_view>

#include "kit/error.h"
#include "kit/models/model_source.h"

namespace kit {
namespace {

class BuiltInSource : public ModelSource {
 public:
  std::unique_ptr<ModelFile> open(const std::string& name, std::size_t largest) const override {
    return std::make_unique<BytesInMemory>(read(name, largest).view());
  }

  FileContent read(const std::string& name, std::size_t /*largest*/) const override {
    const BuiltInFile* const file = find(name);
    if (file == nullptr) {
      throw Error(OZNAKIT_NO_MODEL,
                  labelOf(name) + ": expected this file inside the library, found none.");
    }
    return FileContent(std::string_view(reinterpret_cast<const char*>(file->begin),
                                        static_cast<std::size_t>(file->end - file->begin)));
  }

  std::string labelOf(const std::string& name) const override { return "built in " + name; }
  bool has(const std::string& name) const override { return find(name) != nullptr; }
  std::string place() const override { return "built in"; }

 private:
  static const BuiltInFile* find(const std::string& name) {
    for (std::size_t i = 0; i < kBuiltInFileCount; ++i) {
      if (name == kBuiltInFiles[i].name) return &kBuiltInFiles[i];
    }
    return nullptr;
  }
};

}  // namespace

std::unique_ptr<ModelSource> builtInSource() {
  if (kBuiltInFileCount == 0) return nullptr;
  return std::make_unique<BuiltInSource>();
}

}  // namespace kit
