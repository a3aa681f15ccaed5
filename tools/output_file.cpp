// Files of results.

#include "tools/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "tools/exit_code.h"
#include "tools/streams.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
  throw Failure(kExitOutput, printable(path) + ": " + reason);
}

// The name-th file name, counted from 1.
std::string numbered(const fs::path& name, int number) {
  if (number == 1) return name.string();
  return name.stem().string() + "-" + std::to_string(number) + name.extension().string();
}

// Opens a new file in a directory under the first name that is free, which it returns in path.
int openFreeName(const fs::path& directory, const fs::path& name, std::string* path) {
  for (int number = 1;; ++number) {
    *path = (directory / numbered(name, number)).string();
    const int descriptor = open(path->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor != -1 || errno != EEXIST) return descriptor;
  }
}

// Returns 0 or the number of the error. Closes the descriptor.
int writeAndClose(int descriptor, const unsigned char* bytes, size_t size) {
  int error = 0;
  for (size_t written = 0; written < size && error == 0;) {
    const ssize_t count = write(descriptor, bytes + written, size - written);
    if (count >= 0) written += static_cast<size_t>(count);
    if (count == -1 && errno != EINTR) error = errno;
  }
  // A network file system may tell only now that there was no room.
  if (close(descriptor) == -1 && error == 0) error = errno;
  return error;
}

void removeRegularFile(const std::string& path) {
  std::error_code error;
  if (fs::is_regular_file(path, error)) fs::remove(path, error);
}

void writeThrough(int descriptor, const std::string& path, const unsigned char* bytes,
                  size_t size) {
  if (descriptor == -1) fail(path, std::strerror(errno));
  const int error = writeAndClose(descriptor, bytes, size);
  if (error == 0) return;
  removeRegularFile(path);
  fail(path, std::strerror(error));
}

bool leadsOut(const fs::path& place) {
  return place.is_absolute() ||
         std::find(place.begin(), place.end(), fs::path("..")) != place.end();
}

}  // namespace

void makeDirectory(const std::string& directory) {
  std::error_code error;
  fs::create_directories(directory, error);
  if (!fs::is_directory(directory, error)) {
    fail(directory, "is not a directory and cannot be made one");
  }
}

std::string writeNewFile(const std::string& directory, const std::string& place,
                         const Bytes& bytes) {
  const fs::path name(place);
  if (leadsOut(name)) fail(place, "lies outside of " + directory);
  const fs::path folder = fs::path(directory) / name.parent_path();
  if (name.has_parent_path()) makeDirectory(folder.string());
  std::string path;
  const int descriptor =
      openFreeName(name.has_parent_path() ? folder : fs::path(directory), name.filename(), &path);
  writeThrough(descriptor, path, bytes.data(), bytes.size());
  return path;
}

void writeOverFile(const std::string& path, const Bytes& bytes) {
  const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  writeThrough(descriptor, path, bytes.data(), bytes.size());
}

void replaceFile(const std::string& path, const std::string& text) {
  const fs::path folder = fs::path(path).parent_path();
  if (!folder.empty()) makeDirectory(folder.string());
  const std::string aside = path + ".part";
  const int descriptor = open(aside.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  writeThrough(descriptor, aside, reinterpret_cast<const unsigned char*>(text.data()), text.size());
  if (std::rename(aside.c_str(), path.c_str()) == 0) return;
  const int error = errno;
  removeRegularFile(aside);
  fail(path, std::strerror(error));
}

}  // namespace oznatool
