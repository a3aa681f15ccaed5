// Reading of photographs' files.

#include "tools/photograph/file_bytes.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <system_error>

#include "tools/photograph/photograph_failure.h"
#include "tools/process/input_file.h"

namespace oznatool {
namespace {

constexpr std::int64_t kLargestFile = std::int64_t{1} << 30;  // In bytes.

}  // namespace

FileBytes readFileBytes(const std::string& path, std::int64_t largest) {
  const std::int64_t limit = std::min(largest, kLargestFile);
  const auto refuse = [&path, limit] {
    throw PhotographFailure(path, FailureKind::kMemory,
                            "is a file of more than " + std::to_string(limit >> 20) + " MiB");
  };
  FileBytes read;
  std::vector<unsigned char>& bytes = read.bytes;
  try {
    InputFile file(path);
    read.stamp = stampOf(file.status());
    // The size is a hint for the first allocation only: a pipe has none.
    if (file.size() > limit) refuse();
    bytes.resize(static_cast<std::size_t>(file.size()) + 4096);
    std::size_t filled = 0;
    while (true) {
      if (filled == bytes.size()) bytes.resize(2 * bytes.size());
      const std::size_t count =
          file.read(reinterpret_cast<char*>(bytes.data()) + filled, bytes.size() - filled);
      if (count == 0) break;
      filled += count;
      if (static_cast<std::int64_t>(filled) > limit) refuse();
    }
    bytes.resize(filled);
  } catch (const Unreadable& problem) {
    std::error_code error;
    const bool is_folder = std::filesystem::is_directory(path, error);
    throw PhotographFailure(path, FailureKind::kRead,
                            problem.what() + std::string(is_folder ? "; -r looks into it" : ""));
  }
  if (bytes.empty()) throw PhotographFailure(path, FailureKind::kFormat, "is empty");
  return read;
}

}  // namespace oznatool
