// Opens, uses and closes the library many times over, and measures what stays allocated.
//
//   plugin_host LIBRARY MODELS PHOTOGRAPH.ppm TIMES [leak]
//
// Run it with GLIBC_TUNABLES=glibc.malloc.tcache_count=0: what the threads' caches keep counts as
// allocated. The library's code stays mapped after the first time (see public/CMakeLists.txt); so
// do the libraries that it calls, and what those allocate once. Everything else is given back. The
// heap counts whole blocks, and hands out one that is up to 16 bytes larger than asked for where
// the rest would be too small to keep: the few blocks that those libraries hold sum up to -100 to
// 150 bytes from load to load, by the lengths of the paths. The smallest block is 32 bytes, so that
// one block lost per load is 3,000 bytes in a hundred loads.

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/host/face_finder.h"

namespace {

constexpr int kWarmUp = 3;
constexpr long kBlockRounding = 512;

// Bytes that the heap's users hold, those in mappings of their own included.
std::size_t allocatedBytes() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

long residentKilobytes() {
  std::ifstream statm("/proc/self/statm");
  long size = 0, resident = 0;
  statm >> size >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

long mappings() {
  std::ifstream maps("/proc/self/maps");
  long lines = 0;
  for (std::string line; std::getline(maps, line);) ++lines;
  return lines;
}

}  // namespace

int main(int argc, char** argv) {
  host::require(argc >= 5, "plugin_host LIBRARY MODELS PHOTOGRAPH.ppm TIMES [leak]");
  const bool leak = argc > 5;
  const int times = std::atoi(argv[4]);
  const host::Photograph photograph = host::readPhotograph(argv[3]);
  oznalib::CascadeParameter large_faces = host::usualParameter();
  large_faces.minFaceFraction = 0.1F;  // A quarter of the time, which the loads are to have.
  std::size_t bytes_after_warm_up = 0;
  long resident_after_warm_up = 0;
  long mappings_after_warm_up = 0;
  for (int i = 0; i < times; ++i) {
    {
      host::FaceFinder finder(argv[1], argv[2]);
      const auto numbers = finder.find(photograph, large_faces);
      host::require(numbers.size() >= 141, "no face with landmarks");
      if (leak && i % 10 == 9) finder.forgetCascade();
    }
    malloc_trim(0);  // Free memory that the heap keeps is no leak.
    if (i == kWarmUp) {
      bytes_after_warm_up = allocatedBytes();
      resident_after_warm_up = residentKilobytes();
      mappings_after_warm_up = mappings();
    }
  }
  const long grown_bytes = static_cast<long>(allocatedBytes() - bytes_after_warm_up);
  const long grown_resident = residentKilobytes() - resident_after_warm_up;
  const long grown_mappings = mappings() - mappings_after_warm_up;
  const bool clean = grown_bytes <= kBlockRounding && grown_resident < 4096 && grown_mappings <= 4;
  std::printf(
      "%s: after %d times %ld bytes more are allocated, %ld KB more resident, %ld more mappings\n",
      clean ? "clean" : "LEAK", times, grown_bytes, grown_resident, grown_mappings);
  return clean ? 0 : 1;
}
