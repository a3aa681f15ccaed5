// The program's modules, linked into the fuzz targets in place of being loaded, so that they are instrumented too.

#include <cstdlib>

#include "tools/codec_modules.h"

extern "C" const oznatool::HeifModule* oznaHeifModule();

namespace oznatool {

const HeifModule& heifModule() { return *oznaHeifModule(); }

// Nothing that reads a header asks for it.
const PictureModule& pictureModule() { std::abort(); }

}  // namespace oznatool
