// Opening without waiting, and waiting with an ear for the interrupt.

#include "tools/process/input_file.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include "tools/process/interrupt.h"
#include "tools/process/system_reason.h"

namespace oznatool {
namespace {

bool standsForADescriptor(const std::string& path) {
  return path == "/dev/stdin" || path.rfind("/dev/fd/", 0) == 0 ||
         path.rfind("/proc/self/fd/", 0) == 0;
}

const char* kindOf(mode_t mode) {
  if (S_ISDIR(mode)) return "is a directory";
  if (S_ISFIFO(mode)) return "is a pipe and not a file";
  if (S_ISSOCK(mode)) return "is a socket and not a file";
  return "is a device and not a file";
}

}  // namespace

InputFile::InputFile(const std::string& path) : descriptor_(-1) {
  // The system would cut the name there and open another file.
  if (path.find('\0') != std::string::npos) {
    throw Unreadable(0, "holds a NUL byte; --null is for lists whose names end in NUL");
  }
  // To open a socket fails with a word that says nothing, and to open a device may do something.
  if (stat(path.c_str(), &status_) == 0 && !S_ISREG(status_.st_mode) &&
      !S_ISFIFO(status_.st_mode)) {
    throw Unreadable(0, kindOf(status_.st_mode));
  }
  descriptor_ = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (descriptor_ == -1) throw Unreadable(errno, reasonOf(errno));
  // Asked again of what is open now: the name may stand for something else meanwhile.
  const bool is_known = fstat(descriptor_, &status_) == 0;
  const int error = errno;
  const bool is_fit = is_known && (S_ISREG(status_.st_mode) ||
                                   (S_ISFIFO(status_.st_mode) && standsForADescriptor(path)));
  if (is_fit) return;
  close(descriptor_);
  if (!is_known) throw Unreadable(error, reasonOf(error));
  throw Unreadable(0, kindOf(status_.st_mode));
}

InputFile::~InputFile() { close(descriptor_); }

std::size_t InputFile::read(char* to, std::size_t size) {
  while (true) {
    const ssize_t count = ::read(descriptor_, to, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EAGAIN && errno != EINTR) throw Unreadable(errno, reasonOf(errno));
    if (interrupted()) throw Unreadable(0, "interrupted");
    // A writer that has not come yet wakes this up as one that has written.
    pollfd ready = {descriptor_, POLLIN, 0};
    poll(&ready, 1, /*milliseconds=*/100);
  }
}

void InputFile::skip(std::int64_t bytes) {
  if (lseek(descriptor_, bytes, SEEK_CUR) == -1) throw Unreadable(errno, reasonOf(errno));
}

std::string InputFile::readAll(std::int64_t largest) {
  std::string text;
  std::array<char, 65536> part;
  while (const std::size_t count = read(part.data(), part.size())) {
    text.append(part.data(), count);
    if (static_cast<std::int64_t>(text.size()) > largest) {
      throw Unreadable(0, "is a file of more than " + std::to_string(largest >> 20) + " MiB");
    }
  }
  return text;
}

}  // namespace oznatool
