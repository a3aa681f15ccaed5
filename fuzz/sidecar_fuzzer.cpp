// Fuzz target: sidecars that are there already, on their way into one with the faces of a
// photograph.

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

#include "fuzz/harness.h"
#include "tools/output/record.h"
#include "tools/output/xmp_regions.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string former(reinterpret_cast<const char*>(data), size);
  oznatool::Record record;
  record.path = "photo.jpg";
  record.size = {40, 30};
  record.faces.resize(1);
  record.faces[0].rect = {10, 5, 20, 15};
  ozna_fuzz::RunOrRefuse([&] {
    try {
      const std::string once = oznatool::xmpWithRegions(record, former);
      // What was written is read again.
      oznatool::xmpWithRegions(record, once);
    } catch (const std::exception&) {
    }
  });
  return 0;
}
