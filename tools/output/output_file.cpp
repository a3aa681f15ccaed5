// Files of results.

#include "tools/output/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <new>
#include <system_error>

#include "tools/output/aside_file.h"
#include "tools/process/exit_code.h"
#include "tools/process/input_file.h"
#include "tools/process/streams.h"
#include "tools/process/system_reason.h"

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

bool leadsOut(const fs::path& place) {
  return place.is_absolute() ||
         std::find(place.begin(), place.end(), fs::path("..")) != place.end();
}

bool holds(const std::string& path, const Bytes& bytes) {
  try {
    InputFile file(path);
    const auto size = static_cast<std::int64_t>(bytes.size());
    if (file.size() != size) return false;
    const std::string text = file.readAll(size);
    return text.size() == bytes.size() &&
           std::equal(text.begin(), text.end(), bytes.begin(),
                      [](char a, unsigned char b) { return static_cast<unsigned char>(a) == b; });
  } catch (const Unreadable&) {
    return false;
  }
}

// The path of the file that a path leads to, which need not exist unless the path is a link.
std::string behindLinks(const std::string& path) {
  struct stat status;
  if (lstat(path.c_str(), &status) == -1 || !S_ISLNK(status.st_mode)) return path;
  // Asked of the system first, which refuses to follow links that others laid into open folders.
  if (stat(path.c_str(), &status) == -1) {
    fail(path, errno == ENOENT ? "is a link that leads nowhere" : reasonOf(errno));
  }
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  if (error) fail(path, error.message());
  return real.string();
}

bool isUnchanged(const struct stat& now, const struct stat& then) {
  return now.st_dev == then.st_dev && now.st_ino == then.st_ino && now.st_size == then.st_size &&
         now.st_mtim.tv_sec == then.st_mtim.tv_sec && now.st_mtim.tv_nsec == then.st_mtim.tv_nsec;
}

// The file that is to be replaced; nothing where there is none.
std::optional<struct stat> replaced(const std::string& path, const std::string& shown) {
  struct stat status;
  if (lstat(path.c_str(), &status) == -1) {
    if (errno == ENOENT) return std::nullopt;
    fail(shown, reasonOf(errno));
  }
  if (!S_ISREG(status.st_mode)) fail(shown, "is not a regular file");
  // The move would not ask: it needs the folder alone.
  if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == -1) fail(shown, reasonOf(errno));
  return status;
}

void takeAll(const struct stat& former, const std::string& path, AsideFile& file) {
  file.takeAttributes(former);
  file.takeExtendedAttributes(path);
}

// The file behind a path, with its folder.
std::string targetOf(const std::string& path) {
  const fs::path folder = fs::path(path).parent_path();
  if (!folder.empty()) makeDirectory(folder.string());
  return behindLinks(path);
}

}  // namespace

void makeDirectory(const std::string& directory) {
  std::error_code error;
  fs::create_directories(directory, error);
  if (!fs::is_directory(directory, error)) {
    fail(directory, "is not a directory and cannot be made one");
  }
}

std::string writeNewFile(const std::string& directory, const std::string& place, const Bytes& bytes,
                         Taken taken) {
  const fs::path relative(place);
  if (leadsOut(relative)) fail(place, "lies outside of " + directory);
  const fs::path folder = relative.has_parent_path() ? fs::path(directory) / relative.parent_path()
                                                     : fs::path(directory);
  if (relative.has_parent_path()) makeDirectory(folder.string());
  const fs::path name = relative.filename();
  if (taken == Taken::kReplaced) {
    replaceFile((folder / name).string(), bytes.data(), bytes.size());
    return (folder / name).string();
  }
  AsideFile file((folder / name).string(), 0666);
  file.write(bytes.data(), bytes.size());
  for (int number = 1;; ++number) {
    const std::string path = (folder / numbered(name, number)).string();
    if (file.moveTo(numbered(name, number))) return path;
    if (taken == Taken::kEqualServes && holds(path, bytes)) return path;
  }
}

void replaceFile(const std::string& path, const void* bytes, std::size_t size) {
  const std::string target = targetOf(path);
  const std::optional<struct stat> old = replaced(target, path);
  AsideFile file(target, old ? 0600 : 0666);
  file.write(bytes, size);
  if (old) takeAll(*old, target, file);
  file.moveOver();
}

struct stat replaceUnchangedFile(const std::string& path, const std::optional<struct stat>& former,
                                 const void* bytes, std::size_t size) {
  const std::string target = targetOf(path);
  AsideFile file(target, former ? 0600 : 0666);
  file.write(bytes, size);
  bool is_moved = false;
  if (former) {
    takeAll(*former, target, file);
    const std::optional<struct stat> now = replaced(target, path);
    is_moved = now && isUnchanged(*now, *former);
    if (is_moved) file.moveOver();
  } else {
    is_moved = file.moveTo(fs::path(target).filename().string());
  }
  if (!is_moved) fail(path, "another program has changed it meanwhile");
  return file.status();
}

void namingFile(const std::string& path, const std::function<void()>& change) {
  try {
    change();
  } catch (const Failure&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    fail(path, error.what());
  }
}

}  // namespace oznatool
