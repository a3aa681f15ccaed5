// The program's modules, linked into the fuzz targets in place of being loaded, so that they are
// instrumented too.

#include <cstdlib>

#include "tools/photograph/codec_modules.h"

extern "C" {
const oznatool::FrameModule* oznaFrameModule();
const oznatool::HeifModule* oznaHeifModule();
const oznatool::RawModule* oznaRawModule();
}

namespace oznatool {

const FrameModule& frameModule() { return *oznaFrameModule(); }
const HeifModule& heifModule() { return *oznaHeifModule(); }
const RawModule& rawModule() { return *oznaRawModule(); }

// None of the targets asks for it.
const PictureModule& pictureModule() { std::abort(); }

}  // namespace oznatool
