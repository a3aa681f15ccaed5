// Loading of the modules.

#include "tools/photograph/codec_modules.h"

#include <dlfcn.h>

namespace oznatool {
namespace {

// A name without a directory is looked for along the program's run path. What is loaded stays.
template <class Module>
const Module& load(const char* name, const char* function) {
  void* const library = dlopen(name, RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw MissingModule(dlerror());
  using Function = const Module* (*)();
  const auto found = reinterpret_cast<Function>(dlsym(library, function));
  if (found == nullptr) throw MissingModule(std::string(name) + ": is of another program");
  return *found();
}

}  // namespace

const HeifModule& heifModule() {
  static const HeifModule& module = load<HeifModule>("ozna-heif.so", "oznaHeifModule");
  return module;
}

const FrameModule& frameModule() {
  static const FrameModule& module = load<FrameModule>("ozna-frames.so", "oznaFrameModule");
  return module;
}

const RawModule& rawModule() {
  static const RawModule& module = load<RawModule>("ozna-raw.so", "oznaRawModule");
  return module;
}

const PictureModule& pictureModule() {
  static const PictureModule& module = load<PictureModule>("ozna-pictures.so", "oznaPictureModule");
  return module;
}

}  // namespace oznatool
