// Error texts and limits of the process.

#include "tools/process/system_reason.h"

#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace oznatool {
namespace {

// " 1024" or nothing where there is no limit or it is not known.
std::string valueOf(decltype(RLIMIT_NOFILE) resource) {
  rlimit limit = {};
  if (getrlimit(resource, &limit) == -1 || limit.rlim_cur == RLIM_INFINITY) return "";
  return " " + std::to_string(limit.rlim_cur);
}

std::string withLimit(int error, const std::string& what, decltype(RLIMIT_NOFILE) resource,
                      const std::string& unit, const std::string& command) {
  const std::string value = valueOf(resource);
  if (value.empty()) return std::strerror(error);
  return std::string(std::strerror(error)) + ": the limit of this process is" + value + " " + unit +
         what + " (" + command + ")";
}

}  // namespace

std::string reasonOf(int error) {
  switch (error) {
    case EMFILE:
      return withLimit(error, "", RLIMIT_NOFILE, "open files", "ulimit -n");
    case EFBIG:
      return withLimit(error, " a file", RLIMIT_FSIZE, "bytes", "ulimit -f");
    case ENOMEM:
      return "no memory";
    default:
      return std::strerror(error);
  }
}

ExitCode exitCodeOf(int error, ExitCode otherwise) {
  const bool is_limit = error == EMFILE || error == ENFILE || error == ENOMEM || error == EAGAIN;
  return is_limit ? kExitLimit : otherwise;
}

bool hasRoomForAThread() {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) return false;
  std::size_t stack_bytes = 0;
  pthread_attr_getstacksize(&attributes, &stack_bytes);
  pthread_attr_destroy(&attributes);
  void* const stack =
      mmap(nullptr, stack_bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (stack == MAP_FAILED) return false;
  munmap(stack, stack_bytes);
  return true;
}

std::thread startThread(std::function<void()> body) {
  try {
    return std::thread(std::move(body));
  } catch (const std::system_error&) {
    if (!hasRoomForAThread()) throw Failure(kExitLimit, reasonOf(ENOMEM));
    throw Failure(kExitLimit,
                  "the system allows this user no further thread or process (ulimit -u," +
                      valueOf(RLIMIT_NPROC) + ", or the limit of the control group)");
  }
}

void requireDescriptors(int count) {
  rlimit limit = {};
  if (getrlimit(RLIMIT_NOFILE, &limit) == -1 || limit.rlim_cur == RLIM_INFINITY) return;
  std::error_code error;
  rlim_t open = 0;
  std::filesystem::directory_iterator at("/proc/self/fd", error);
  for (const std::filesystem::directory_iterator end; !error && at != end; at.increment(error)) {
    ++open;
  }
  if (error) open = limit.rlim_cur;
  const rlim_t needed = open + static_cast<rlim_t>(count);
  if (limit.rlim_cur >= needed) return;
  limit.rlim_cur = std::min(limit.rlim_max, needed);
  if (limit.rlim_cur < needed || setrlimit(RLIMIT_NOFILE, &limit) == -1) {
    throw Failure(kExitLimit, "needs " + std::to_string(needed) +
                                  " open files; the limit of this process is" +
                                  valueOf(RLIMIT_NOFILE) + " (ulimit -n)");
  }
}

bool hasLittleAddressSpace() {
  rlimit limit = {};
  return getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}

}  // namespace oznatool
