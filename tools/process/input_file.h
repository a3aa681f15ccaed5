/// Opens and reads files that others made, of which none can keep the program waiting for ever.

#ifndef OZNA_TOOLS_PROCESS_INPUT_FILE_H_
#define OZNA_TOOLS_PROCESS_INPUT_FILE_H_

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace oznatool {

/// Why a file cannot be read, without its name in front.
class Unreadable : public std::runtime_error {
 public:
  /// error  Of the system; 0 where the program itself refuses the file.
  Unreadable(int error, const std::string& reason) : std::runtime_error(reason), error_(error) {}
  int error() const { return error_; }

 private:
  int error_;
};

/// A file that is open for reading.
///
/// Only regular files are read: what lies under a name is looked at after it was opened, without
/// waiting, so that a pipe, a socket or a device in a folder neither hangs the run nor is set off.
/// A pipe is read where its name stands for a descriptor of the process (/dev/stdin, /dev/fd/3), as
/// the shell's <(...) makes them; an interrupt ends the wait for one.
class InputFile {
 public:
  /// Errors  Unreadable.
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// What the system says about the open file.
  const struct stat& status() const { return status_; }
  /// In bytes; 0 for a pipe, whose size nobody knows.
  std::int64_t size() const { return S_ISREG(status_.st_mode) ? status_.st_size : 0; }

  /// Reads at most so many bytes. Returns 0 at the end. Errors  Unreadable, also for an interrupt.
  std::size_t read(char* to, std::size_t size);

  /// Goes past so many bytes of a regular file. Errors  Unreadable.
  void skip(std::int64_t bytes);

  /// The rest of the file. largest  More bytes than this are refused. Errors  Unreadable.
  std::string readAll(std::int64_t largest);

 private:
  int descriptor_;
  struct stat status_ = {};
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_PROCESS_INPUT_FILE_H_
