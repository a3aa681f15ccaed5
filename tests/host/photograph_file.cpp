// Reading of PPM files, and the end of a host that is not content.

#include "tests/host/photograph_file.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace host {

void require(bool holds, const std::string& what) {
  if (holds) return;
  std::fprintf(stderr, "%s\n", what.c_str());
  std::_Exit(1);
}

Photograph readPhotograph(const std::string& path) {
  Photograph photograph;
  std::ifstream file(path, std::ios::binary);
  std::string magic;
  int maximum = 0;
  file >> magic >> photograph.width >> photograph.height >> maximum;
  file.get();
  require(magic == "P6" && maximum == 255, path + " is no PPM file");
  photograph.pixels.resize(std::size_t{3} * static_cast<std::size_t>(photograph.width) *
                           static_cast<std::size_t>(photograph.height));
  file.read(reinterpret_cast<char*>(photograph.pixels.data()),
            static_cast<std::streamsize>(photograph.pixels.size()));
  require(static_cast<bool>(file), path + " is cut short");
  return photograph;
}

}  // namespace host
