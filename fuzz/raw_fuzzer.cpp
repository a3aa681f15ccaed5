// Fuzz target: raw photographs. What the program asks of one: its size, its preview and its
// development.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "fuzz/harness.h"
#include "tools/photograph/codec_modules.h"
#include "tools/photograph/raw_photograph.h"
#include "tools/process/streams.h"

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  oznatool::prepareStreams();  // Or the messages of the fuzzer go with those of the library.
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ozna_fuzz::RunOrRefuse([=] {
    const std::optional<oznatool::RawHead> head = oznatool::rawModule().head(data, size);
    if (!head) return;
    const cv::Size stored = head->stored;
    if (stored.width < 1 || stored.height < 1 || head->orientation < 1 || head->orientation > 8) {
      std::abort();
    }
    constexpr std::int64_t kMostPixels = 1 << 18;  // A development takes long.
    if (std::int64_t{stored.width} * stored.height > kMostPixels) return;
    for (const bool whole : {false, true}) {
      const cv::Mat pixels = oznatool::decodeRaw(data, size, stored, whole);
      if (pixels.empty()) continue;
      const bool is_sane = pixels.type() == CV_8UC3 && pixels.cols <= stored.width &&
                           pixels.rows <= stored.height && (!whole || pixels.size() == stored);
      if (!is_sane) std::abort();
    }
  });
  return 0;
}
