// Paths out of JSON lines and CSV rows.

#include "tools/former_output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "tools/csv.h"
#include "tools/exit_code.h"
#include "tools/streams.h"
#include "tools/utf8.h"

namespace oznatool {
namespace {

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
  throw Failure(kExitUsage, "--resume " + printable(path) + ": " + reason);
}

std::string readText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (file) text << file.rdbuf();
  if (!file && !file.eof()) fail(path, std::strerror(errno));
  return text.str();
}

// The paths of JSON lines. end  Receives the number of bytes of whole lines.
std::vector<std::string> jsonPaths(const std::string& path, const std::string& text, size_t* end) {
  std::vector<std::string> paths;
  *end = 0;
  for (size_t next = 0; (next = text.find('\n', *end)) != std::string::npos; *end = next + 1) {
    const nlohmann::json line = nlohmann::json::parse(
        text.begin() + static_cast<std::ptrdiff_t>(*end),
        text.begin() + static_cast<std::ptrdiff_t>(next), nullptr, /*allow_exceptions=*/false);
    if (!line.is_object() || !line.contains("path") || !line["path"].is_string()) {
      fail(path, "line " + std::to_string(paths.size() + 1) + " is no record of ozna --json");
    }
    paths.push_back(line["path"].get<std::string>());
  }
  return paths;
}

// The paths of CSV rows. A photograph whose last faces are missing, as a full disk leaves it, does
// not count. end  Receives the number of bytes of the rows that count.
std::vector<std::string> csvPaths(const std::string& text, size_t* end) {
  enum Column : size_t { kPath = 0, kFaces = 4, kFace = 5, kNeeded = 6 };
  std::vector<CsvRow> rows = csvRowsOf(text, kNeeded);
  const auto is_within = [](const CsvRow& row) {
    return row.fields.size() == kNeeded && row.fields[kFace] != row.fields[kFaces] &&
           !row.fields[kFace].empty();
  };
  // The heading has other words in both columns.
  while (rows.size() > 1 && is_within(rows.back())) rows.pop_back();
  *end = rows.empty() ? 0 : rows.back().end;
  std::vector<std::string> paths;
  for (size_t i = 1; i < rows.size(); ++i) paths.push_back(rows[i].fields[kPath]);
  return paths;
}

bool isStandardOutput(const std::string& path) {
  struct stat file;
  struct stat output;
  return stat(path.c_str(), &file) == 0 && fstat(STDOUT_FILENO, &output) == 0 &&
         S_ISREG(output.st_mode) && file.st_dev == output.st_dev && file.st_ino == output.st_ino;
}

}  // namespace

FormerOutput::FormerOutput(const std::string& path) {
  const std::string text = readText(path);
  std::vector<std::string> paths;
  size_t end = 0;
  if (text.rfind('{', 0) == 0) {
    paths = jsonPaths(path, text, &end);
  } else if (text.rfind("path,", 0) == 0) {
    paths = csvPaths(text, &end);
  } else if (!text.empty()) {
    fail(path, "is no output of ozna --json or --format csv");
  }
  for (const std::string& photograph : paths) photographs_.insert(asUtf8(photograph));

  if (!isStandardOutput(path)) return;
  continued_ = end > 0;
  if (end == text.size()) return;
  if (ftruncate(STDOUT_FILENO, static_cast<off_t>(end)) == -1 ||
      (lseek(STDOUT_FILENO, 0, SEEK_END) == -1 && errno != ESPIPE)) {
    throw Failure(kExitOutput, printable(path) + ": " + std::strerror(errno));
  }
}

bool FormerOutput::has(const std::string& photograph) const {
  return !photographs_.empty() && photographs_.count(asUtf8(photograph)) > 0;
}

}  // namespace oznatool
