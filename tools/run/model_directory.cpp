// Places where model files may lie.

#include "tools/run/model_directory.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "tools/process/exit_code.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

fs::path besideProgram() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error) return {};
  return program.parent_path().parent_path() / "share/ozna";
}

bool holdsModels(const fs::path& directory) {
  std::error_code error;
  return fs::exists(directory / "stages.txt", error) ||
         fs::exists(directory / "models/face68.sdm", error);
}

ModelPlace namedPlace(const std::string& directory, const std::string& source) {
  std::error_code error;
  if (!fs::is_directory(directory, error)) {
    throw Failure(kExitModel, printable(directory) + ": no such directory of models, " + source);
  }
  return {directory.back() == '/' ? directory : directory + "/", source};
}

}  // namespace

ModelPlace modelPlace(const std::string& given) {
  if (!given.empty()) return namedPlace(given, "given by --models");
  const char* const variable = std::getenv("OZNA_MODELS");
  if (variable != nullptr && *variable != '\0') return namedPlace(variable, "given by OZNA_MODELS");

  struct Place {
    fs::path directory;
    const char* source;
  };
  const std::array<Place, 3> places = {
      {{besideProgram(), "beside the program"},
       {fs::path(OZNA_SOURCE_DIR) / "public", "source tree that the program was built from"},
       {fs::path(OZNA_INSTALL_DATA_DIR), "prefix that the program was configured for"}}};
  std::string searched;
  for (const Place& place : places) {
    if (place.directory.empty()) continue;
    // The compact cascade finds more faces in half the time; the other one, which the core has
    // built in, is for those who name its directory.
    for (const fs::path& directory : {place.directory / "compact", place.directory}) {
      if (holdsModels(directory)) return {directory.string() + "/", place.source};
    }
    searched += (searched.empty() ? "" : ", ") + place.directory.string();
  }
  throw Failure(kExitModel,
                "no models found in " + searched + "; name their directory with --models");
}

std::string modelDirectory(const std::string& given) { return modelPlace(given).directory; }

}  // namespace oznatool
