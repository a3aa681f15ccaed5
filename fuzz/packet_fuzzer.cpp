// Fuzz target: the XMP packet inside a JPEG or PNG file, found and exchanged. What is written must
// be found again, and nothing beside it may change but the numbers that grow with it.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "fuzz/harness.h"
#include "tools/output/embedded_packet.h"

namespace {

void exchangePacket(const std::string& file, const std::string& text) {
  const oznatool::PacketPlace place = oznatool::packetPlaceIn(file);
  if (place.begin > place.end || place.end > file.size()) std::abort();
  const std::string changed = oznatool::withPacket(file, place, text);
  const oznatool::PacketPlace again = oznatool::packetPlaceIn(changed);
  const std::size_t behind = file.size() - place.end;
  std::string former = file;
  const auto growth =
      static_cast<std::int64_t>(changed.size()) - static_cast<std::int64_t>(file.size());
  oznatool::addTo(former, place.growing, growth);
  const bool is_whole = again.begin == place.begin && changed.size() - again.end == behind &&
                        changed.compare(0, place.begin, former, 0, place.begin) == 0 &&
                        changed.compare(again.end, behind, former, place.end, behind) == 0;
  const bool is_found = place.keeps_size ? changed.size() == file.size() : again.text == text;
  if (!is_whole || !is_found) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  ozna_fuzz::Prepare();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string file(reinterpret_cast<const char*>(data), size);
  for (const char* text : {"<x/>", "<x/>    <?xpacket end=\"w\"?>"}) {
    try {
      exchangePacket(file, text);
    } catch (const std::runtime_error&) {
      // Refused, with a reason.
    }
  }
  return 0;
}
