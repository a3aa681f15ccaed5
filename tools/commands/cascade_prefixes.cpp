// Links and stage lists of shorter cascades.

#include "tools/commands/cascade_prefixes.h"

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "tools/process/exit_code.h"
#include "tools/process/system_reason.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

const char* const kStageList = "stages.txt";

std::vector<std::string> stageLines(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) {
    if (line.empty() || line[0] != '#') lines.push_back(line);
  }
  return lines;
}

// A directory with links to all that another holds but for the stage list.
void linkAll(const std::string& from, const fs::path& to) {
  fs::create_directory(to);
  for (const fs::directory_entry& entry : fs::directory_iterator(fs::absolute(from))) {
    if (entry.path().filename() == kStageList) continue;
    fs::create_symlink(entry.path(), to / entry.path().filename());
  }
}

}  // namespace

CascadePrefixes::CascadePrefixes(const std::string& whole) {
  try {
    std::string folder = (fs::temp_directory_path() / "ozna-bench-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) {
      throw fs::filesystem_error(folder, std::error_code(errno, std::generic_category()));
    }
    folder_ = folder;
    const std::vector<std::string> lines = stageLines(whole + kStageList);
    for (std::size_t count = 1; count < lines.size(); ++count) {
      const fs::path directory = fs::path(folder_) / std::to_string(count);
      linkAll(whole, directory);
      std::ofstream list(directory / kStageList);
      for (std::size_t i = 0; i < count; ++i) list << lines[i] << '\n';
      list.close();
      if (!list) throw Failure(kExitOutput, directory.string() + ": " + reasonOf(errno));
      directories_.push_back(directory.string() + "/");
    }
  } catch (const fs::filesystem_error& error) {
    throw Failure(kExitOutput, error.what());
  }
}

CascadePrefixes::~CascadePrefixes() {
  std::error_code error;
  if (!folder_.empty()) fs::remove_all(folder_, error);
}

}  // namespace oznatool
