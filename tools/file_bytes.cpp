// Reading of files and pipes.

#include "tools/file_bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tools/photograph_failure.h"

namespace oznatool {
namespace {

constexpr std::int64_t kLargestFile = std::int64_t{1} << 30;  // In bytes.

// A descriptor that closes itself.
class File {
 public:
  explicit File(const std::string& path) : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~File() {
    if (descriptor_ != -1) close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

}  // namespace

std::vector<unsigned char> readFileBytes(const std::string& path, std::int64_t largest) {
  const std::int64_t limit = std::min(largest, kLargestFile);
  const auto failToRead = [&path] {
    throw PhotographFailure(path, FailureKind::kRead, std::strerror(errno));
  };
  const auto refuse = [&path, limit] {
    throw PhotographFailure(path, FailureKind::kMemory,
                            "is a file of more than " + std::to_string(limit >> 20) + " MiB");
  };
  const File file(path);
  struct stat status;
  if (file.descriptor() == -1 || fstat(file.descriptor(), &status) == -1) failToRead();
  if (S_ISDIR(status.st_mode)) {
    throw PhotographFailure(path, FailureKind::kRead, "is a directory");
  }

  // The size is a hint for the first allocation only: a pipe has none.
  const std::int64_t size_hint = S_ISREG(status.st_mode) ? status.st_size : 0;
  if (size_hint > limit) refuse();
  std::vector<unsigned char> bytes(static_cast<size_t>(size_hint) + 4096);
  size_t filled = 0;
  while (true) {
    if (filled == bytes.size()) bytes.resize(2 * bytes.size());
    const ssize_t count = read(file.descriptor(), bytes.data() + filled, bytes.size() - filled);
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) failToRead();
    if (count == 0) break;
    filled += static_cast<size_t>(count);
    if (static_cast<std::int64_t>(filled) > limit) refuse();
  }
  bytes.resize(filled);
  if (bytes.empty()) throw PhotographFailure(path, FailureKind::kFormat, "is empty");
  return bytes;
}

}  // namespace oznatool
