// The choice of a source: what the options name, or the usual places.

#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "kit/error.h"
#include "kit/models/model_source.h"
#include "kit/sized.h"

namespace kit {
namespace {

namespace fs = std::filesystem;

bool isDirectory(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool holdsModels(const ModelSource& source) {
  return source.has("stages.txt") || source.has("models/face68.sdm");
}

std::unique_ptr<ModelSource> givenDirectory(const std::string& directory, const char* named_by) {
  if (!isDirectory(directory)) {
    throw Error(OZNAKIT_NO_MODEL, directory + ": expected a directory of models, which " +
                                      named_by + " names, found none.");
  }
  return directorySource(directory);
}

// The file that this code lies in: the library, or the program that holds its archive. Empty where
// the system does not know.
fs::path ownFile() {
  Dl_info info = {};
  if (dladdr(reinterpret_cast<const void*>(&ownFile), &info) == 0 || info.dli_fname == nullptr) {
    return {};
  }
  std::error_code error;
  // The name of a program is that of its call, which may be relative to another directory.
  fs::path file = fs::canonical(info.dli_fname, error);
  if (error) file = fs::read_symlink("/proc/self/exe", error);
  return error ? fs::path() : file;
}

// share/ozna of the prefix that the file may lie in: PREFIX/lib, PREFIX/lib/x86_64-linux-gnu, or
// deeper, as Python's modules do.
std::vector<fs::path> placesAround(const fs::path& file) {
  std::vector<fs::path> places;
  if (file.empty()) return places;
  constexpr int kDeepest = 5;
  fs::path prefix = file.parent_path();
  for (int depth = 0; depth < kDeepest && prefix.has_relative_path(); ++depth) {
    prefix = prefix.parent_path();
    places.push_back(prefix / "share/ozna");
  }
  // In the build folder of the source tree, whose own folder says so.
#ifdef OZNA_BUILD_DIR
  std::error_code error;
  const fs::path build = fs::canonical(OZNA_BUILD_DIR, error);
  if (!error && file.string().rfind(build.string() + "/", 0) == 0) {
    places.insert(places.begin(), fs::path(OZNA_SOURCE_DIR) / "public");
  }
#endif
  return places;
}

void requireAtMostOne(const oznakit_model_options& options) {
  const int given = (options.directory != nullptr) +
                    (options.files != nullptr || options.file_count > 0) + (options.built_in != 0);
  if (given > 1) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected at most one of directory, files and built_in in oznakit_model_options, "
                "found " +
                    std::to_string(given) + ".");
  }
}

}  // namespace

FoundModels findModels(const oznakit_model_options& options) {
  requireAtMostOne(options);
  if (options.directory != nullptr) {
    return {givenDirectory(options.directory, "the option"), "given"};
  }
  if (options.files != nullptr || options.file_count > 0) {
    requireGiven(options.files, "files in oznakit_model_options");
    return {memorySource(options.files, options.file_count), "given"};
  }
  if (options.built_in != 0) {
    if (options.built_in != 1) {
      throw Error(OZNAKIT_BAD_ARGUMENT,
                  "Expected built_in in oznakit_model_options to be 0 or 1, found " +
                      std::to_string(options.built_in) + ".");
    }
    std::unique_ptr<ModelSource> source = builtInSource();
    if (source == nullptr) {
      throw Error(OZNAKIT_NO_MODEL,
                  "Expected models inside the library, but it was built without "
                  "(OZNAKIT_EMBED_MODELS).");
    }
    return {std::move(source), "given"};
  }

  const char* const variable = std::getenv("OZNA_MODELS");
  if (variable != nullptr && *variable != '\0') {
    return {givenDirectory(variable, "the environment variable OZNA_MODELS"), "OZNA_MODELS"};
  }
  if (std::unique_ptr<ModelSource> source = builtInSource()) return {std::move(source), "built in"};
  std::string searched;
  for (const fs::path& place : placesAround(ownFile())) {
    // The compact cascade finds more faces in half the time; the other one, which the core has
    // built in, is for those who name its directory.
    for (const fs::path& directory : {place / "compact", place}) {
      std::unique_ptr<ModelSource> source = directorySource(directory.string());
      if (holdsModels(*source)) return {std::move(source), "beside the library"};
    }
    searched += (searched.empty() ? "" : ", ") + place.string();
  }
  throw Error(OZNAKIT_NO_MODEL, "Expected models in one of the usual places, found none in " +
                                    searched +
                                    "; the option or OZNA_MODELS may name their directory.");
}

}  // namespace kit
