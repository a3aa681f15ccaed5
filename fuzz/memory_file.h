/// A file without a disk: the interfaces that read files are fuzzed through one.

#ifndef OZNA_FUZZ_MEMORY_FILE_H_
#define OZNA_FUZZ_MEMORY_FILE_H_

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace ozna_fuzz {

class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("fuzz", 0)) {}

  int descriptor() const { return descriptor_; }
  static std::string directory() { return "/proc/self/fd"; }
  std::string name() const { return std::to_string(descriptor_); }
  std::string path() const { return directory() + "/" + name(); }

  void write(const std::uint8_t* data, std::size_t size) const {
    if (ftruncate(descriptor_, 0) != 0 ||
        pwrite(descriptor_, data, size, 0) != static_cast<ssize_t>(size)) {
      std::abort();
    }
  }

 private:
  int descriptor_;
};

}  // namespace ozna_fuzz

#endif  // OZNA_FUZZ_MEMORY_FILE_H_
