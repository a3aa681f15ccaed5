// Creation, writing, and the move to the target.

#include "tools/output/aside_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <vector>

#include "tools/output/aside_name.h"
#include "tools/process/exit_code.h"
#include "tools/process/streams.h"
#include "tools/process/system_reason.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

// Flushes to the disk what is there to flush: some file systems know no such thing.
int flushed(int descriptor) {
  if (fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP || errno == ENOSYS) return 0;
  return errno;
}

// Moves a file to a name that must be free. Returns 0 or the error, EEXIST where it is taken.
int moveToFreeName(int folder, const std::string& from, const std::string& to) {
  if (renameat2(folder, from.c_str(), folder, to.c_str(), RENAME_NOREPLACE) == 0) return 0;
  if (errno != EINVAL && errno != ENOSYS) return errno;
  // A file system without that call, as a network's: a link is refused where the name is taken.
  if (linkat(folder, from.c_str(), folder, to.c_str(), 0) == 0) {
    unlinkat(folder, from.c_str(), 0);
    return 0;
  }
  if (errno == EEXIST) return EEXIST;
  // One without links either: the name is taken by an empty file first.
  const int place = openat(folder, to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (place == -1) return errno;
  close(place);
  return renameat(folder, from.c_str(), folder, to.c_str()) == 0 ? 0 : errno;
}

}  // namespace

AsideFile::AsideFile(const std::string& target, mode_t mode)
    : target_(target), target_name_(fs::path(target).filename().string()) {
  const fs::path parent = fs::path(target).parent_path();
  const std::string folder = parent.empty() ? "." : parent.string();
  folder_ = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder_ == -1) fail(errno);
  try {
    removeLeftovers(folder_);
    create(mode);
  } catch (...) {
    close(folder_);
    throw;
  }
}

AsideFile::~AsideFile() {
  if (!name_.empty()) unlinkat(folder_, name_.c_str(), 0);
  close(file_);
  close(folder_);
}

void AsideFile::fail(int error) const {
  throw Failure(kExitOutput, printable(target_) + ": " + reasonOf(error));
}

void AsideFile::create(mode_t mode) {
  while (true) {
    const std::string name = newAsideName();
    file_ =
        openat(folder_, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    if (file_ == -1 && errno == EEXIST) continue;
    if (file_ == -1) fail(errno);
    name_ = name;
    struct stat status;
    // Another process that looks for leftovers may have come between: then the file is gone, or
    // about to be. A file system without locks has no process that removes anything.
    const bool is_taken = flock(file_, LOCK_EX | LOCK_NB) == -1 && errno == EWOULDBLOCK;
    if (!is_taken && fstat(file_, &status) == 0 && status.st_nlink > 0) return;
    unlinkat(folder_, name.c_str(), 0);
    close(file_);
    name_.clear();
  }
}

void AsideFile::write(const void* bytes, std::size_t size) {
  const auto* const begin = static_cast<const char*>(bytes);
  for (std::size_t written = 0; written < size;) {
    const ssize_t count = ::write(file_, begin + written, size - written);
    if (count >= 0) written += static_cast<std::size_t>(count);
    if (count == -1 && errno != EINTR) fail(errno);
  }
}

void AsideFile::takeAttributes(const struct stat& former) {
  mode_t mode = former.st_mode & 0777;
  struct stat own;
  if (fstat(file_, &own) == -1) fail(errno);
  // The owner may be given by root alone, the group by its members; each in its own call, so that
  // the one is not lost with the other.
  if (own.st_uid != former.st_uid && fchown(file_, former.st_uid, static_cast<gid_t>(-1)) == -1 &&
      errno != EPERM) {
    fail(errno);
  }
  if (own.st_gid != former.st_gid && fchown(file_, static_cast<uid_t>(-1), former.st_gid) == -1) {
    if (errno != EPERM) fail(errno);
    const mode_t of_others = mode & 0007;
    mode = (mode & 0707) | (mode & 0070 & (of_others << 3));
  }
  if (fchmod(file_, mode) == -1 && errno != EPERM) fail(errno);
}

void AsideFile::takeExtendedAttributes(const std::string& path) {
  struct stat former;
  if (stat(path.c_str(), &former) == -1) return;
  const struct stat own = status();
  const bool is_same_owner = own.st_uid == former.st_uid && own.st_gid == former.st_gid;
  std::vector<char> names(1 << 16);  // The most that the system has.
  const ssize_t size = listxattr(path.c_str(), names.data(), names.size());
  std::vector<char> value(1 << 16);
  for (const char* name = names.data(); size > 0 && name < names.data() + size;
       name += std::strlen(name) + 1) {
    const bool is_of_users = std::strncmp(name, "user.", 5) == 0;
    const bool is_access = std::strcmp(name, "system.posix_acl_access") == 0;
    if (!is_of_users && !(is_access && is_same_owner)) continue;
    const ssize_t length = getxattr(path.c_str(), name, value.data(), value.size());
    if (length >= 0) fsetxattr(file_, name, value.data(), static_cast<std::size_t>(length), 0);
  }
}

struct stat AsideFile::status() const {
  struct stat own;
  if (fstat(file_, &own) == -1) fail(errno);
  return own;
}

void AsideFile::flush() {
  if (is_flushed_) return;
  is_flushed_ = true;
  // A network file system may report only now that there was no room.
  if (const int error = flushed(file_)) fail(error);
}

void AsideFile::settle() {
  name_.clear();
  if (const int error = flushed(folder_)) fail(error);
}

void AsideFile::moveOver() {
  flush();
  if (renameat(folder_, name_.c_str(), folder_, target_name_.c_str()) == -1) fail(errno);
  settle();
}

bool AsideFile::moveTo(const std::string& free_name) {
  flush();
  const int error = moveToFreeName(folder_, name_, free_name);
  if (error == EEXIST) return false;
  if (error != 0) fail(error);
  settle();
  return true;
}

}  // namespace oznatool
