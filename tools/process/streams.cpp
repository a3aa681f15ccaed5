// Standard output and standard error of the program.

#include "tools/process/streams.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <system_error>

#include "tools/process/exit_code.h"
#include "tools/process/system_reason.h"
#include "tools/process/terminal_text.h"

namespace oznatool {
namespace {

// A private copy of standard error, so that messages get through while descriptor 2 is redirected.
int message_descriptor = STDERR_FILENO;

std::mutex screen_mutex;  // Held while anything is written, so that lines stay whole.
std::string status;       // What stands in the status line. Guarded by screen_mutex.

const char* const kEraseLine = "\r\x1b[K";

// Writes to the messages what it can: where it cannot, nowhere is left to say so.
void writeMessage(std::string_view text) {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = write(message_descriptor, text.data() + written, text.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    written += static_cast<std::size_t>(count);
  }
}

std::mutex quiet_mutex;
int quiet_count = 0;  // Guarded by quiet_mutex.

}  // namespace

void prepareStreams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1 || errno != EBADF) continue;
    // The lowest free number is the one that is missing. Opened for reading only: a write to a
    // closed standard output then fails and is reported, instead of vanishing.
    if (open("/dev/null", O_RDONLY) != descriptor) _exit(kExitOutput);
  }
  const int copy = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (copy != -1) message_descriptor = copy;
  std::signal(SIGPIPE, SIG_DFL);
  // A write beyond the limit of file sizes then fails and is reported.
  std::signal(SIGXFSZ, SIG_IGN);
}

std::string printable(const std::string& text) {
  if (text.empty()) return "''";
  return escapedForTerminal(text, /*keeps_lines=*/false);
}

void say(const std::string& text) {
  const std::string line = "ozna: " + printable(text) + "\n";
  const std::lock_guard<std::mutex> lock(screen_mutex);
  writeMessage(status.empty() ? line : kEraseLine + line + status);
}

void sayNoMemory() noexcept {
  constexpr std::string_view kMessage = "ozna: no memory\n";
  // A terminal may hold a line of status.
  if (isatty(message_descriptor) != 0) writeMessage(kEraseLine);
  writeMessage(kMessage);
}

void showStatus(const std::string& line) {
  const std::lock_guard<std::mutex> lock(screen_mutex);
  if (status.empty() && line.empty()) return;
  status = line;
  writeMessage(kEraseLine + status);
}

std::optional<int> messageColumns() {
  winsize size = {};
  if (isatty(message_descriptor) == 0) return std::nullopt;
  constexpr int kUsual = 80;
  if (ioctl(message_descriptor, TIOCGWINSZ, &size) == -1 || size.ws_col == 0) return kUsual;
  return size.ws_col;
}

void writeData(const std::string& text) {
  const std::lock_guard<std::mutex> lock(screen_mutex);
  const bool on_screen = !status.empty() && isatty(STDOUT_FILENO) != 0;
  if (on_screen) writeMessage(kEraseLine);
  const bool to_terminal = isatty(STDOUT_FILENO) != 0;
  const std::string data = to_terminal ? escapedForTerminal(text, /*keeps_lines=*/true) : text;
  const bool written = std::fwrite(data.data(), 1, data.size(), stdout) == data.size();
  if (!written || std::fflush(stdout) != 0) {
    throw Failure(kExitOutput, "standard output: " + reasonOf(errno));
  }
  if (on_screen) writeMessage(status);
}

void writeBytes(const std::vector<unsigned char>& bytes) {
  const std::lock_guard<std::mutex> lock(screen_mutex);
  if (isatty(STDOUT_FILENO) != 0) {
    throw Failure(kExitOutput, "standard output is a terminal, which shows no pictures");
  }
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), stdout) == bytes.size();
  if (!written || std::fflush(stdout) != 0) {
    throw Failure(kExitOutput, "standard output: " + reasonOf(errno));
  }
}

std::string standardOutputFile() {
  struct stat status;
  if (fstat(STDOUT_FILENO, &status) == -1 || !S_ISREG(status.st_mode)) return "";
  std::error_code error;
  const std::filesystem::path path = std::filesystem::read_symlink("/proc/self/fd/1", error);
  if (error) return "";
  const std::filesystem::path shorter =
      path.lexically_proximate(std::filesystem::current_path(error));
  return !error && *shorter.begin() != ".." ? shorter.string() : path.string();
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
