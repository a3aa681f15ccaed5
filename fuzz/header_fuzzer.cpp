// Fuzz target: what is read of a photograph's file before it is decoded, for every format that the
// program knows.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/harness.h"
#include "tools/photograph/photograph_header.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ozna_fuzz::RunOrRefuse([=] {
    const oznatool::PhotographHeader header = oznatool::readHeader(data, size);
    const bool is_sane =
        header.orientation >= 1 && header.orientation <= 8 &&
        (!header.stored || (header.stored->width > 0 && header.stored->height > 0 &&
                            oznatool::decodingMemory(header, 1) > 0));
    if (!is_sane) {
      std::abort();
    }
  });
  return 0;
}
