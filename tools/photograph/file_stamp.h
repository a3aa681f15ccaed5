/// Size and time of a file, by which a replaced one is told from the one before.

#ifndef OZNA_TOOLS_PHOTOGRAPH_FILE_STAMP_H_
#define OZNA_TOOLS_PHOTOGRAPH_FILE_STAMP_H_

#include <sys/stat.h>

#include <cstdint>
#include <optional>
#include <string>

namespace oznatool {

struct FileStamp {
  std::int64_t bytes = 0;
  std::string modified;  ///< In UTC, to the nanosecond: "2026-11-22T09:41:07.000000000Z".
};

inline bool operator==(const FileStamp& a, const FileStamp& b) {
  return a.bytes == b.bytes && a.modified == b.modified;
}

/// Nothing for what is not a regular file.
std::optional<FileStamp> stampOf(const struct stat& status);

/// That of the file under a name as it is now; nothing where there is none.
std::optional<FileStamp> stampOf(const std::string& path);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_FILE_STAMP_H_
