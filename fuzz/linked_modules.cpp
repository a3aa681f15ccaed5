// The program's modules, linked into the fuzz targets in place of being loaded, so that they are instrumented too.

#include <cstdlib>

#include "tools/codec_modules.h"

extern "C" const oznatool::HeifModule* oznaHeifModule();

namespace oznatool {

const HeifModule& heifModule() { return *oznaHeifModule(); }

// Nothing that reads a header of an unnamed file asks for them.
const PictureModule& pictureModule() { std::abort(); }
const FrameModule& frameModule() { std::abort(); }
const RawModule& rawModule() { std::abort(); }

}  // namespace oznatool
