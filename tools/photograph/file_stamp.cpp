// Times as text.

#include "tools/photograph/file_stamp.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace oznatool {

std::optional<FileStamp> stampOf(const struct stat& status) {
  std::tm time = {};
  if (!S_ISREG(status.st_mode) || gmtime_r(&status.st_mtim.tv_sec, &time) == nullptr) {
    return std::nullopt;
  }
  std::array<char, 64> seconds;
  std::array<char, 96> text;
  if (std::strftime(seconds.data(), seconds.size(), "%Y-%m-%dT%H:%M:%S", &time) == 0) {
    return std::nullopt;
  }
  std::snprintf(text.data(), text.size(), "%s.%09ldZ", seconds.data(), status.st_mtim.tv_nsec);
  return FileStamp{status.st_size, text.data()};
}

std::optional<FileStamp> stampOf(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == -1) return std::nullopt;
  return stampOf(status);
}

}  // namespace oznatool
