// Where a file holds its packet.

#include "tools/output/embedded_packet.h"

#include <cstddef>

#include "tests/tools/output/jpeg_segments.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

TEST(EmbeddedPacket, IsFoundAndExchangedInEveryCutOfAFileOrRefused) {
  const std::string jpeg = withSegment(encoded(".jpg", gradientPicture(20, 10)),
                                       segment('\xE1', kPacketKey + "<?xpacket begin=''?>"));
  const std::string png = encoded(".png", gradientPicture(20, 10));
  const std::string two = withSecondPicture("", "", jpeg, false);
  EXPECT_EQ(oznatool::packetPlaceIn(two).growing.size(), 1U);
  for (const std::string& whole : {jpeg, png}) {
    EXPECT_NO_THROW(oznatool::packetPlaceIn(whole));
    for (std::size_t size = 0; size < whole.size(); ++size) {
      EXPECT_THROW(oznatool::packetPlaceIn(whole.substr(0, size)), std::runtime_error) << size;
    }
  }
  EXPECT_EQ(oznatool::packetPlaceIn(jpeg).text, "<?xpacket begin=''?>");
}

}  // namespace
}  // namespace ozna_test
