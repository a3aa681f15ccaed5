// Places where model files may lie.

#include "tools/model_directory.h"

#include <array>
#include <filesystem>
#include <system_error>

#include "tools/exit_code.h"
#include "tools/streams.h"

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
  return !directory.empty() && (fs::exists(directory / "stages.txt", error) ||
                                fs::exists(directory / "models/face68.sdm", error));
}

}  // namespace

std::string modelDirectory(const std::string& given) {
  if (!given.empty()) {
    std::error_code error;
    if (!fs::is_directory(given, error)) {
      throw Failure(kExitModel, printable(given) + ": no such directory of models");
    }
    return given.back() == '/' ? given : given + "/";
  }

  const std::array<fs::path, 3> places = {besideProgram(), fs::path(OZNA_SOURCE_DIR) / "public",
                                          fs::path(OZNA_INSTALL_DATA_DIR)};
  std::string searched;
  for (const fs::path& place : places) {
    if (holdsModels(place)) return place.string() + "/";
    if (!place.empty()) searched += (searched.empty() ? "" : ", ") + place.string();
  }
  throw Failure(kExitModel,
                "no models found in " + searched + "; name their directory with --models");
}

}  // namespace oznatool
