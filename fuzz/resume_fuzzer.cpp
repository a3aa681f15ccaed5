// Fuzz target: the previous output that --resume reads, as JSON lines and as rows, and cuts behind
// its last whole record.

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/harness.h"
#include "fuzz/memory_file.h"
#include "tools/process/exit_code.h"
#include "tools/run/previous_output.h"

namespace {

ozna_fuzz::MemoryFile* file;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  // Standard output continues the file that is read, as in 'ozna ... --resume out.json >>
  // out.json'.
  file = new ozna_fuzz::MemoryFile;
  if (dup2(file->descriptor(), STDOUT_FILENO) == -1) {
    std::abort();
  }
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  file->write(data, size);
  ozna_fuzz::RunOrRefuse([] {
    try {
      const oznatool::PreviousOutput former(file->path());
      if (former.has("photo.jpg") && former.size() == 0) {
        std::abort();
      }
    } catch (const oznatool::Failure&) {
    }
  });
  const off_t left = lseek(file->descriptor(), 0, SEEK_END);
  if (left > static_cast<off_t>(size)) {
    std::abort();  // What is there may be cut, never grow.
  }
  return 0;
}
