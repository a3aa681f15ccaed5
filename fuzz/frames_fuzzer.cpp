// Fuzz target: pictures that move. The size, the number of frames and the first frame of GIF and
// WebP files.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/harness.h"
#include "tools/photograph/animation.h"
#include "tools/photograph/codec_modules.h"
#include "tools/photograph/photograph_header.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ozna_fuzz::RunOrRefuse([=] {
    const bool is_gif = oznatool::isGif(data, size);
    if (!is_gif && !oznatool::isAnimatedWebp(data, size)) return;
    oznatool::framesOf(data, size);
    const oznatool::PhotographHeader header = oznatool::readHeader(data, size);
    constexpr std::int64_t kMostPixels = 1 << 20;
    if (!header.stored ||
        std::int64_t{header.stored->width} * header.stored->height > kMostPixels) {
      return;
    }
    const oznatool::FrameModule& module = oznatool::frameModule();
    const cv::Mat pixels = (is_gif ? module.gif : module.webp)(data, size, *header.stored);
    if (pixels.empty()) return;
    if (pixels.type() != CV_8UC3 || pixels.size() != *header.stored) std::abort();
  });
  return 0;
}
