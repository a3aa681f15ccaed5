// Standard output and standard error of the program.

#include "tools/streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "tools/exit_code.h"

namespace oznatool {
namespace {

// A private copy of standard error, so that messages get through while descriptor 2 is redirected.
int message_descriptor = STDERR_FILENO;

std::mutex quiet_mutex;
int quiet_count = 0;  // Guarded by quiet_mutex.

}  // namespace

void prepareStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free number is the one that is missing. Opened for reading only: a write to a
    // closed standard output then fails and is told, instead of vanishing.
    if (open("/dev/null", O_RDONLY) != descriptor) _exit(kExitOutput);
  }
  const int copy = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (copy != -1) message_descriptor = copy;
  std::signal(SIGPIPE, SIG_DFL);
}

std::string printable(const std::string& text) {
  if (text.empty()) return "''";
  std::string shown = text;
  for (char& c : shown) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) c = '?';
  }
  return shown;
}

void say(const std::string& text) {
  const std::string line = "ozna: " + printable(text) + "\n";
  size_t written = 0;
  while (written < line.size()) {
    const ssize_t count = write(message_descriptor, line.data() + written, line.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;  // There is nowhere left to tell it.
    written += static_cast<size_t>(count);
  }
}

void writeData(const std::string& text) {
  const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (written && std::fflush(stdout) == 0) return;
  throw Failure(kExitOutput, std::string("standard output: ") + std::strerror(errno));
}

QuietStandardError::QuietStandardError() {
  const std::lock_guard<std::mutex> lock(quiet_mutex);
  if (quiet_count++ > 0) return;
  const int nothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nothing == -1) return;  // Remarks of the codecs do no harm.
  dup2(nothing, STDERR_FILENO);
  close(nothing);
}

QuietStandardError::~QuietStandardError() {
  const std::lock_guard<std::mutex> lock(quiet_mutex);
  if (--quiet_count == 0) dup2(message_descriptor, STDERR_FILENO);
}

}  // namespace oznatool
