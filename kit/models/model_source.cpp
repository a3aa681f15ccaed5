// Reading of model files from a directory and from memory.

#include "kit/models/model_source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <new>
#include <string_view>
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

// Room without the zeros that std::make_unique writes.
std::unique_ptr<char[]> unfilled(std::size_t bytes) {
  return std::unique_ptr<char[]>(new char[bytes]);
}

// Closed at the end of its life; -1 for none.
struct Descriptor {
  explicit Descriptor(int given) : number(given) {}
  Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}
  ~Descriptor() {
    if (number != -1) close(number);
  }

  int number;
};

class FileOnDisk : public ModelFile {
 public:
  FileOnDisk(Descriptor descriptor, std::size_t size, const std::string& label)
      : ModelFile(size), descriptor_(std::move(descriptor)), label_(label) {}

  std::size_t read(void* to, std::size_t count) override {
    std::size_t filled = 0;
    while (filled < count) {
      const ssize_t got =
          ::read(descriptor_.number, static_cast<char*>(to) + filled, count - filled);
      if (got == 0) break;
      if (got == -1 && errno == EINTR) continue;
      if (got == -1) failToRead(label_, errno);
      filled += static_cast<std::size_t>(got);
    }
    return filled;
  }

 private:
  Descriptor descriptor_;
  std::string label_;
};

void requireRegular(const struct stat& status, const std::string& label) {
  if (S_ISREG(status.st_mode)) return;
  throw Error(OZNAKIT_NO_MODEL,
              label + ": expected a regular file, found " +
                  (S_ISDIR(status.st_mode) ? "a directory." : "a pipe, socket or device."));
}

class DirectorySource : public ModelSource {
 public:
  explicit DirectorySource(const std::string& directory) : directory_(directory) {}

  // Without waiting for the other end of a pipe; what a device would do when it is opened is left
  // alone as well, since its kind is asked for before.
  std::unique_ptr<ModelFile> open(const std::string& name, std::size_t largest) const override {
    const std::string label = labelOf(name);
    struct stat status = {};
    if (stat(label.c_str(), &status) == -1) failToRead(label, errno);
    requireRegular(status, label);
    Descriptor descriptor(::open(label.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (descriptor.number == -1 || fstat(descriptor.number, &status) == -1) {
      failToRead(label, errno);
    }
    requireRegular(status, label);
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size > largest) refuseSize(label, size, largest);
    return std::make_unique<FileOnDisk>(std::move(descriptor), size, label);
  }

  FileContent read(const std::string& name, std::size_t largest) const override {
    const std::unique_ptr<ModelFile> file = open(name, largest);
    // With room for a byte more, so that the end shows.
    std::size_t room = file->size() + 1;
    std::unique_ptr<char[]> bytes = unfilled(room);
    std::size_t filled = file->read(bytes.get(), room);
    while (filled == room) {
      if (filled > largest) refuseSize(labelOf(name), filled, largest);
      room = std::min(2 * room, largest + 1);
      std::unique_ptr<char[]> more = unfilled(room);
      std::memcpy(more.get(), bytes.get(), filled);
      bytes = std::move(more);
      filled += file->read(bytes.get() + filled, room - filled);
    }
    return FileContent(std::move(bytes), filled);
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

  std::unique_ptr<ModelFile> open(const std::string& name, std::size_t largest) const override {
    return std::make_unique<BytesInMemory>(read(name, largest).view());
  }

  FileContent read(const std::string& name, std::size_t largest) const override {
    const auto found = files_.find(name);
    if (found == files_.end()) {
      throw Error(OZNAKIT_NO_MODEL, labelOf(name) +
                                        ": expected this file among those in memory, found " +
                                        std::to_string(files_.size()) + " without it.");
    }
    const oznakit_file& file = *found->second;
    if (file.byte_count > largest) refuseSize(labelOf(name), file.byte_count, largest);
    return FileContent(std::string_view(static_cast<const char*>(file.bytes), file.byte_count));
  }

  std::string labelOf(const std::string& name) const override { return name; }
  bool has(const std::string& name) const override { return files_.count(name) != 0; }
  std::string place() const override { return "memory"; }

 private:
  std::map<std::string, const oznakit_file*> files_;
};

}  // namespace

std::size_t BytesInMemory::read(void* to, std::size_t count) {
  const std::size_t copied = std::min(count, left_.size());
  if (copied > 0) std::memcpy(to, left_.data(), copied);
  left_.remove_prefix(copied);
  return copied;
}

std::unique_ptr<ModelSource> directorySource(const std::string& directory) {
  return std::make_unique<DirectorySource>(directory);
}

std::unique_ptr<ModelSource> memorySource(const oznakit_file* files, std::size_t count) {
  return std::make_unique<MemorySource>(files, count);
}

}  // namespace kit
