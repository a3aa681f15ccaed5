// Folders that hold photographs.

#include "tools/output/existing_files.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "tools/process/exit_code.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

// The folder that a name stands for, without links; empty where there is none.
fs::path folderOf(const std::string& name) {
  std::error_code error;
  fs::path folder = fs::weakly_canonical(name, error);
  if (error || name.rfind("/dev/", 0) == 0) return {};
  return fs::is_directory(folder, error) ? folder : folder.parent_path();
}

bool isWithin(const fs::path& folder, const fs::path& above) {
  return std::mismatch(above.begin(), above.end(), folder.begin(), folder.end()).first ==
         above.end();
}

}  // namespace

Taken takenOf(Existing existing, bool continues) {
  if (existing == Existing::kOverwrite) return Taken::kReplaced;
  return continues ? Taken::kEqualServes : Taken::kAnotherName;
}

void refuseToOverwritePhotographs(const std::string& directory,
                                  const std::vector<std::string>& names) {
  std::error_code error;
  fs::path above = fs::canonical(directory, error);
  for (const std::string& name : names) {
    const fs::path folder = name == "-" ? fs::path() : folderOf(name);
    if (error || folder.empty() || !isWithin(folder, above)) continue;
    throw Failure(kExitUsage, "--overwrite could replace photographs in " + printable(directory) +
                                  ": choose a directory without any");
  }
}

}  // namespace oznatool
