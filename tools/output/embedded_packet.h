/// The XMP packet inside the file of a photograph, exchanged so that all other bytes stay as they
/// are.

#ifndef OZNA_TOOLS_OUTPUT_EMBEDDED_PACKET_H_
#define OZNA_TOOLS_OUTPUT_EMBEDDED_PACKET_H_

#include <cstddef>
#include <string>
#include <vector>

#include "tools/output/picture_index.h"

namespace oznatool {

/// Where a JPEG or PNG file holds its packet, or would hold one.
struct PacketPlace {
  bool is_png = false;
  /// Bytes of the file that the packet takes with its segment or chunk; both the same where it has
  /// none.
  std::size_t begin = 0, end = 0;
  std::string text;  ///< The packet; empty where there is none.
  /// The file must not grow or shrink: something behind the picture is found by counting from the
  /// beginning, and not all that counts so is known.
  bool keeps_size = false;
  /// What the file says of places in it, as far as that changes with the size of the packet. Empty
  /// where the file keeps its size.
  std::vector<GrowingNumber> growing;
};

/// Finds the packet of a file.
///
/// file    All its bytes.
/// Errors  std::runtime_error with a reason where the file is neither JPEG nor PNG, is damaged or
///         cut short, has two packets, has a compressed one, or has face regions in an extension of
///         its packet.
PacketPlace packetPlaceIn(const std::string& file);

/// The file with another packet in that place.
///
/// Where the file must keep its size, the blanks at the end of the packet make up for the
/// difference.
/// Errors  std::runtime_error where the packet does not fit: into a JPEG segment of 64 KiB, or into
///         the size that the file must keep.
std::string withPacket(const std::string& file, const PacketPlace& place, const std::string& text);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_EMBEDDED_PACKET_H_
