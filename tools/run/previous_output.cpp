// Paths out of JSON lines and CSV rows.

#include "tools/run/previous_output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "tools/output/csv.h"
#include "tools/process/exit_code.h"
#include "tools/process/input_file.h"
#include "tools/process/streams.h"
#include "tools/process/system_reason.h"

namespace oznatool {
namespace {

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
  throw Failure(kExitUsage, "--resume " + printable(path) + ": " + reason);
}

std::string readText(const std::string& path) {
  try {
    return InputFile(path).readAll(std::numeric_limits<std::int64_t>::max());
  } catch (const Unreadable& problem) {
    fail(path, problem.what());
  }
}

// The bytes that pairs of hexadecimal digits stand for; nothing where the text is none.
std::optional<std::string> bytesOfHex(const std::string& text) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); at += 2) {
    unsigned value = 0;
    const char* const begin = text.data() + at;
    if (at + 1 == text.size()) return std::nullopt;
    if (std::from_chars(begin, begin + 2, value, 16).ptr != begin + 2) return std::nullopt;
    bytes += static_cast<char>(value);
  }
  return bytes;
}

// The path of a record; nothing where the line is none. Its bytes stand beside its text where they
// are no text, since two such names may have one text.
std::optional<std::string> pathIn(const nlohmann::json& line) {
  if (!line.is_object() || !line.contains("path") || !line["path"].is_string()) return std::nullopt;
  if (!line.contains("path_hex")) return line["path"].get<std::string>();
  if (!line["path_hex"].is_string()) return std::nullopt;
  return bytesOfHex(line["path_hex"].get<std::string>());
}

// A photograph of a previous output.
struct Done {
  std::string path;
  std::optional<FileStamp> stamp;
};

std::optional<FileStamp> stampIn(const nlohmann::json& line) {
  const auto bytes = line.find("bytes");
  const auto modified = line.find("modified");
  if (bytes == line.end() || modified == line.end() || !bytes->is_number_integer() ||
      !modified->is_string()) {
    return std::nullopt;
  }
  return FileStamp{bytes->get<std::int64_t>(), modified->get<std::string>()};
}

// The photographs of a previous output.
struct Records {
  std::vector<Done> photographs;
  std::size_t end = 0;  // Bytes of the text up to the end of the last record that counts.
};

// The photographs of JSON lines. A last line without an end does not count.
Records recordsOfJson(const std::string& path, const std::string& text) {
  Records records;
  std::size_t& end = records.end;
  for (std::size_t next = 0; (next = text.find('\n', end)) != std::string::npos; end = next + 1) {
    const nlohmann::json line = nlohmann::json::parse(
        text.begin() + static_cast<std::ptrdiff_t>(end),
        text.begin() + static_cast<std::ptrdiff_t>(next), nullptr, /*allow_exceptions=*/false);
    const std::optional<std::string> photograph = pathIn(line);
    if (!photograph) {
      fail(path, "line " + std::to_string(records.photographs.size() + 1) +
                     " is not a record of ozna --json");
    }
    records.photographs.push_back({*photograph, stampIn(line)});
  }
  return records;
}

// The stamp in a row of CSV, whose columns the heading names.
std::optional<FileStamp> stampIn(const std::vector<std::string>& heading,
                                 const std::vector<std::string>& fields) {
  enum Column : std::size_t { kBytes = 14, kModified = 15, kCount = 16 };
  if (heading.size() < kCount || fields.size() < kCount || heading[kBytes] != "bytes" ||
      heading[kModified] != "modified") {
    return std::nullopt;
  }
  const std::string& digits = fields[kBytes];
  FileStamp stamp;
  stamp.modified = fields[kModified];
  const char* const end = digits.data() + digits.size();
  if (digits.empty() || std::from_chars(digits.data(), end, stamp.bytes).ptr != end) {
    return std::nullopt;
  }
  return stamp;
}

// The photographs of CSV rows. A photograph whose last faces are missing, as a full disk leaves it,
// does not count.
Records recordsOfCsv(const std::string& text) {
  enum Column : std::size_t { kPath = 0, kFaces = 4, kFace = 5, kNeeded = 6, kRead = 16 };
  std::vector<CsvRow> rows = csvRowsOf(text, kRead);
  const auto is_within = [](const CsvRow& row) {
    return row.fields.size() >= kNeeded && row.fields[kFace] != row.fields[kFaces] &&
           !row.fields[kFace].empty();
  };
  // The heading has other words in both columns.
  while (rows.size() > 1 && is_within(rows.back())) rows.pop_back();
  Records records;
  records.end = rows.empty() ? 0 : rows.back().end;
  for (std::size_t i = 1; i < rows.size(); ++i) {
    records.photographs.push_back({rows[i].fields[kPath], stampIn(rows[0].fields, rows[i].fields)});
  }
  return records;
}

bool isStandardOutput(const std::string& path) {
  struct stat file;
  struct stat output;
  return stat(path.c_str(), &file) == 0 && fstat(STDOUT_FILENO, &output) == 0 &&
         S_ISREG(output.st_mode) && file.st_dev == output.st_dev && file.st_ino == output.st_ino;
}

}  // namespace

PreviousOutput::PreviousOutput(const std::string& path) {
  const std::string text = readText(path);
  Records records;
  if (text.rfind('{', 0) == 0) {
    records = recordsOfJson(path, text);
  } else if (text.rfind("path,", 0) == 0) {
    records = recordsOfCsv(text);
  } else if (!text.empty()) {
    fail(path, "is not an output of ozna --json or --format csv");
  }
  // The last record of a photograph counts.
  for (Done& photograph : records.photographs) {
    photographs_[photograph.path] = std::move(photograph.stamp);
  }

  if (!isStandardOutput(path)) return;
  continued_ = records.end > 0;
  // A descriptor that was not opened for appending may stand anywhere, also on the first record.
  if ((records.end < text.size() &&
       ftruncate(STDOUT_FILENO, static_cast<off_t>(records.end)) == -1) ||
      lseek(STDOUT_FILENO, 0, SEEK_END) == -1) {
    throw Failure(kExitOutput, printable(path) + ": " + reasonOf(errno));
  }
}

bool PreviousOutput::has(const std::string& photograph) const {
  if (photographs_.empty()) return false;
  return photographs_.count(photograph) > 0 || photographs_.count(safeCell(photograph)) > 0;
}

bool PreviousOutput::isReplaced(const std::string& photograph) const {
  auto found = photographs_.find(photograph);
  if (found == photographs_.end()) found = photographs_.find(safeCell(photograph));
  if (found == photographs_.end() || !found->second) return false;
  const std::optional<FileStamp> now = stampOf(photograph);
  return now && !(*now == *found->second);
}

}  // namespace oznatool
