// Reading of model files from a directory and from memory.

#include "kit/models/model_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <new>
#include <system_error>
#include <utility>

#include "kit/error.h"

namespace kit {
namespace {

[[noreturn]] void refuseSize(const std::string& label, std::size_t bytes, std::size_t largest) {
  throw Error(OZNAKIT_BAD_MODEL, label + ": expected a file of at most " + std::to_string(largest) +
                                     " bytes, found " + std::to_string(bytes) + ".");
}

[[noreturn]] void failToRead(const std::string& label, int error) {
  if (error == ENOMEM) throw std::bad_alloc();
  throw Error(OZNAKIT_NO_MODEL, label + ": expected a model file, but it cannot be read: " +
                                    std::system_category().message(error) + ".");
}

// A descriptor, closed at the end of its scope.
class OpenFile {
 public:
  // Without waiting for the other end of a pipe; what a device would do when it is opened is left
  // alone as well, since its kind is asked for before.
  OpenFile(const std::string& path, const std::string& label) {
    struct stat status = {};
    if (stat(path.c_str(), &status) == -1) failToRead(label, errno);
    requireRegular(status, label);
    descriptor_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor_ == -1) failToRead(label, errno);
  }
  ~OpenFile() { close(descriptor_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  std::string readAll(const std::string& label, std::size_t largest) const {
    struct stat status = {};
    if (fstat(descriptor_, &status) == -1) failToRead(label, errno);
    requireRegular(status, label);
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size > largest) refuseSize(label, size, largest);
    std::string bytes(size + 1, '\0');  // One more, so that the end shows.
    std::size_t filled = 0;
    while (true) {
      if (filled == bytes.size()) bytes.resize(2 * bytes.size());
      const ssize_t count = ::read(descriptor_, &bytes[filled], bytes.size() - filled);
      if (count == 0) break;
      if (count == -1 && errno == EINTR) continue;
      if (count == -1) failToRead(label, errno);
      filled += static_cast<std::size_t>(count);
      if (filled > largest) refuseSize(label, filled, largest);
    }
    bytes.resize(filled);
    return bytes;
  }

 private:
  static void requireRegular(const struct stat& status, const std::string& label) {
    if (S_ISREG(status.st_mode)) return;
    throw Error(OZNAKIT_NO_MODEL,
                label + ": expected a regular file, found " +
                    (S_ISDIR(status.st_mode) ? "a directory." : "a pipe, socket or device."));
  }

  int descriptor_;
};

class DirectorySource : public ModelSource {
 public:
  explicit DirectorySource(const std::string& directory) : directory_(directory) {}

  std::string read(const std::string& name, std::size_t largest) const override {
    const std::string label = labelOf(name);
    return OpenFile(label, label).readAll(label, largest);
  }

  std::string labelOf(const std::string& name) const override {
    const bool ends_in_separator = !directory_.empty() && directory_.back() == '/';
    return directory_ + (ends_in_separator ? "" : "/") + name;
  }

  bool has(const std::string& name) const override {
    struct stat status = {};
    return stat(labelOf(name).c_str(), &status) == 0;
  }

  std::string place() const override { return directory_; }

 private:
  std::string directory_;
};

class MemorySource : public ModelSource {
 public:
  MemorySource(const oznakit_file* files, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      const oznakit_file& file = files[i];
      if (file.name == nullptr || (file.bytes == nullptr && file.byte_count > 0)) {
        throw Error(OZNAKIT_BAD_ARGUMENT, "Expected a name and bytes in file " + std::to_string(i) +
                                              " of the options, found a null pointer.");
      }
      if (!files_.emplace(file.name, &file).second) {
        throw Error(OZNAKIT_BAD_ARGUMENT,
                    "Expected files of different names in the options, found \"" +
                        std::string(file.name) + "\" twice.");
      }
    }
  }

  std::string read(const std::string& name, std::size_t largest) const override {
    const auto found = files_.find(name);
    if (found == files_.end()) {
      throw Error(OZNAKIT_NO_MODEL, labelOf(name) +
                                        ": expected this file among those in memory, found " +
                                        std::to_string(files_.size()) + " others.");
    }
    const oznakit_file& file = *found->second;
    if (file.byte_count > largest) refuseSize(labelOf(name), file.byte_count, largest);
    if (file.byte_count == 0) return "";
    return std::string(static_cast<const char*>(file.bytes), file.byte_count);
  }

  std::string labelOf(const std::string& name) const override { return name; }
  bool has(const std::string& name) const override { return files_.count(name) != 0; }
  std::string place() const override { return "memory"; }

 private:
  std::map<std::string, const oznakit_file*> files_;
};

}  // namespace

std::unique_ptr<ModelSource> directorySource(const std::string& directory) {
  return std::make_unique<DirectorySource>(directory);
}

std::unique_ptr<ModelSource> memorySource(const oznakit_file* files, std::size_t count) {
  return std::make_unique<MemorySource>(files, count);
}

}  // namespace kit
