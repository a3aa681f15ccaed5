// Names with a check sum, and the search for abandoned ones.

#include "tools/output/aside_name.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <set>
#include <string_view>
#include <utility>

#include "tools/process/exit_code.h"
#include "tools/process/system_reason.h"

namespace oznatool {
namespace {

constexpr std::string_view kBegin = ".ozna-";
constexpr std::string_view kEnd = ".part";
constexpr std::size_t kRandomDigits = 24;
constexpr std::size_t kCheckDigits = 8;

// The 32 bit FNV-1a hash (Fowler, Noll and Vo) as eight hexadecimal digits.
std::string checkOf(std::string_view digits) {
  std::uint32_t hash = 2166136261U;
  for (const char c : digits) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619U;
  std::array<char, kCheckDigits + 1> text;
  std::snprintf(text.data(), text.size(), "%08x", hash);
  return text.data();
}

// Whether no other folder of this number was asked about before.
bool isFirstLook(int folder) {
  static std::mutex mutex;
  static std::set<std::pair<dev_t, ino_t>> seen;
  struct stat status;
  if (fstat(folder, &status) == -1) return false;
  const std::lock_guard<std::mutex> lock(mutex);
  return seen.insert({status.st_dev, status.st_ino}).second;
}

void removeIfAbandoned(int folder, const char* name) {
  const int file = openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  if (file == -1) return;
  struct stat status;
  const bool is_ours = fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
                       (status.st_uid == geteuid() || geteuid() == 0);
  // Where a file system has no locks, nobody can tell, and the file stays.
  if (is_ours && flock(file, LOCK_EX | LOCK_NB) == 0) unlinkat(folder, name, 0);
  close(file);
}

}  // namespace

std::string newAsideName() {
  std::array<unsigned char, kRandomDigits / 2> bytes;
  if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
    throw Failure(kExitOutput, "no random numbers: " + reasonOf(errno));
  }
  std::string digits;
  for (const unsigned char byte : bytes) {
    std::array<char, 3> text;
    std::snprintf(text.data(), text.size(), "%02x", byte);
    digits += text.data();
  }
  return std::string(kBegin) + digits + checkOf(digits) + std::string(kEnd);
}

bool isAsideName(const std::string& name) {
  if (name.size() != kBegin.size() + kRandomDigits + kCheckDigits + kEnd.size()) return false;
  const std::string_view digits = std::string_view(name).substr(kBegin.size(), kRandomDigits);
  return name.compare(0, kBegin.size(), kBegin) == 0 &&
         digits.find_first_not_of("0123456789abcdef") == std::string_view::npos &&
         name.compare(kBegin.size() + kRandomDigits, std::string::npos,
                      checkOf(digits) + std::string(kEnd)) == 0;
}

void removeLeftovers(int folder) {
  if (!isFirstLook(folder)) return;
  // A descriptor of its own, since a stream of names moves it and closes it.
  const int own = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* const names = own == -1 ? nullptr : fdopendir(own);
  if (names == nullptr) {
    if (own != -1) close(own);
    return;
  }
  while (const dirent* entry = readdir(names)) {
    if (isAsideName(entry->d_name)) removeIfAbandoned(folder, entry->d_name);
  }
  closedir(names);
}

}  // namespace oznatool
