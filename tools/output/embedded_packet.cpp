// Segments of JPEG and chunks of PNG, as far as a packet's place needs them.

#include "tools/output/embedded_packet.h"

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "tools/output/face_region.h"

namespace oznatool {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kPacketMark = "http://ns.adobe.com/xap/1.0/\0"sv;
constexpr std::string_view kExtensionMark = "http://ns.adobe.com/xmp/extension/\0"sv;
constexpr std::size_t kExtensionHead =
    kExtensionMark.size() + 32 + 4 + 4;  // Check sum, length, place.
constexpr std::string_view kPngMark = "\x89PNG\r\n\x1a\n"sv;
constexpr std::string_view kPngKey = "XML:com.adobe.xmp\0"sv;
constexpr std::size_t kMostInSegment = 65502;

[[noreturn]] void fail(const std::string& reason) { throw std::runtime_error(reason); }
[[noreturn]] void failCut() { fail("is damaged or cut short, and stays as it is"); }

unsigned at(std::string_view file, std::size_t place) {
  return static_cast<unsigned char>(file[place]);
}

std::uint32_t word(std::string_view file, std::size_t place) {
  return at(file, place) << 24 | at(file, place + 1) << 16 | at(file, place + 2) << 8 |
         at(file, place + 3);
}

bool begins(std::string_view text, std::string_view mark) {
  return text.substr(0, mark.size()) == mark;
}

// A segment before the picture's data.
struct Segment {
  unsigned marker;
  std::size_t begin, end;    // With its marker.
  std::string_view content;  // Behind its length.
};

// The end of a segment whose marker's second byte stands at a place.
std::size_t segmentEnd(std::string_view file, std::size_t marker) {
  if (file.size() < marker + 3) failCut();
  const std::size_t length = at(file, marker + 1) << 8 | at(file, marker + 2);
  const std::size_t end = marker + 1 + length;
  if (length < 2 || end > file.size()) failCut();
  return end;
}

// The end of the picture whose data begin at a place: the marker of its end stands before it.
// Further scans, with their tables, are passed.
std::size_t pictureEnd(std::string_view file, std::size_t place) {
  while (place + 1 < file.size()) {
    if (at(file, place) != 0xFF) {
      ++place;
      continue;
    }
    const unsigned marker = at(file, place + 1);
    constexpr unsigned kEndOfImage = 0xD9;
    if (marker == kEndOfImage) return place + 2;
    const bool is_data = marker == 0 || (marker >= 0xD0 && marker <= 0xD7);
    if (marker == 0xFF) {
      ++place;
    } else if (is_data) {
      place += 2;
    } else {
      place = segmentEnd(file, place + 1);
    }
  }
  failCut();
}

struct JpegParts {
  std::vector<Segment> segments;  // Before the picture's data.
  std::size_t picture_end = 0;
};

JpegParts partsOf(std::string_view file) {
  JpegParts parts;
  std::size_t place = 2;
  while (true) {
    if (place >= file.size() || at(file, place) != 0xFF) failCut();
    while (place < file.size() && at(file, place) == 0xFF) ++place;
    if (place >= file.size()) failCut();
    // Further bytes of this value before a marker fill the file up.
    const std::size_t begin = place - 1;
    const unsigned marker = at(file, place);
    constexpr unsigned kFirstWithLength = 0xC0;
    if (marker < kFirstWithLength || (marker >= 0xD0 && marker <= 0xD9)) failCut();
    const std::size_t end = segmentEnd(file, place);
    constexpr unsigned kStartOfScan = 0xDA;
    if (marker == kStartOfScan) {
      parts.picture_end = pictureEnd(file, end);
      return parts;
    }
    parts.segments.push_back({marker, begin, end, file.substr(place + 3, end - place - 3)});
    place = end;
  }
}

// Whether what stands behind a picture is found from the end of the file, or is nothing at all.
bool isCountedFromEnd(std::string_view behind) {
  const std::size_t last = behind.find_last_not_of('\0');
  if (last == std::string_view::npos) return true;
  const bool is_film =
      behind.substr(0, 12).substr(std::min<std::size_t>(4, behind.size()), 4) == "ftyp";
  const bool is_list = behind.size() >= 4 && behind.substr(behind.size() - 4) == "SEFT";
  return is_film || is_list;
}

// Whether these segments hold the distance of a further picture from the beginning of the file or
// of the Exif data, as cameras note of previews that lie behind the picture.
bool isPointedTo(std::string_view file, const std::vector<Segment>& segments,
                 const PictureIndex& index) {
  std::vector<std::size_t> places;
  for (std::size_t i = 1; i < index.pictures.size(); ++i) places.push_back(index.pictures[i].begin);
  const auto is_one = [&places](std::size_t place) {
    return std::binary_search(places.begin(), places.end(), place);
  };
  for (const Segment& segment : segments) {
    if (begins(segment.content, "MPF\0"sv)) continue;
    const std::size_t exif = segment.content.data() - file.data() + 6;  // Behind "Exif\0\0".
    for (std::size_t i = 0; i + 4 <= segment.content.size(); ++i) {
      const std::uint32_t big = word(segment.content, i);
      const std::uint32_t little = __builtin_bswap32(big);
      for (const std::size_t distance : {big, little}) {
        if (is_one(distance) || is_one(exif + distance)) return true;
      }
    }
  }
  return false;
}

// The index of the pictures behind the first one, where all that stands there is a picture of it or
// is counted from the end, and nothing else counts its place.
std::optional<PictureIndex> wholeIndex(std::string_view file, const std::vector<Segment>& segments,
                                       const Segment& segment, std::size_t picture_end) {
  const std::size_t content = segment.content.data() - file.data();
  auto index = pictureIndexIn(file, content, segment.end, picture_end);
  if (!index) return std::nullopt;
  std::size_t end = picture_end;
  for (std::size_t i = 1; i < index->pictures.size(); ++i) {
    const PictureIndex::Picture& picture = index->pictures[i];
    const std::string_view between = file.substr(end, picture.begin - end);
    if (between.find_last_not_of('\0') != std::string_view::npos) return std::nullopt;
    end = picture.begin + picture.size;
  }
  if (!isCountedFromEnd(file.substr(end)) || isPointedTo(file, segments, *index)) {
    return std::nullopt;
  }
  return index;
}

PacketPlace jpegPlace(std::string_view file) {
  constexpr unsigned kApp0 = 0xE0;
  constexpr unsigned kApp1 = 0xE1;
  constexpr unsigned kApp2 = 0xE2;
  const auto [segments, picture_end] = partsOf(file);
  PacketPlace place;
  // A new packet follows the segments that readers expect at the beginning.
  place.begin = 2;
  for (const Segment& segment : segments) {
    const bool is_head =
        segment.marker == kApp0 || (segment.marker == kApp1 && begins(segment.content, "Exif\0"sv));
    if (!is_head) break;
    place.begin = segment.end;
  }
  place.end = place.begin;
  std::string extension;
  bool is_found = false;
  std::vector<const Segment*> with_index;
  for (const Segment& segment : segments) {
    if (segment.marker == kApp2 && begins(segment.content, "MPF\0"sv)) {
      with_index.push_back(&segment);
    }
    if (segment.marker != kApp1) continue;
    if (begins(segment.content, kExtensionMark) && segment.content.size() > kExtensionHead) {
      extension += segment.content.substr(kExtensionHead);
    }
    if (!begins(segment.content, kPacketMark)) continue;
    if (is_found) fail("has two XMP packets, of which only one could be changed");
    is_found = true;
    place.begin = segment.begin;
    place.end = segment.end;
    place.text = segment.content.substr(kPacketMark.size());
  }
  if (extension.find(kRegionSpace) != std::string::npos) {
    fail("has regions in an extension of its XMP packet");
  }
  if (with_index.empty()) {
    place.keeps_size = !isCountedFromEnd(file.substr(picture_end));
    return place;
  }
  std::optional<PictureIndex> index;
  if (with_index.size() == 1) index = wholeIndex(file, segments, *with_index[0], picture_end);
  place.keeps_size = !index;
  if (index) place.growing = index->growingWith(place.begin, place.end);
  return place;
}

std::string wordBytes(std::uint32_t value) {
  std::string bytes;
  for (const int shift : {24, 16, 8, 0}) bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

std::uint32_t checkOf(std::string_view bytes) {
  return static_cast<std::uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

// The text in the content of a chunk that has the packet's key.
std::string packetInChunk(std::string_view content) {
  content.remove_prefix(kPngKey.size());
  if (content.size() < 2) failCut();
  if (content[0] != '\0') fail("has a compressed XMP packet");
  content.remove_prefix(2);
  for (int i = 0; i < 2; ++i) {  // A language, and the key in that language.
    const std::size_t zero = content.find('\0');
    if (zero == std::string_view::npos) failCut();
    content.remove_prefix(zero + 1);
  }
  return std::string(content);
}

PacketPlace pngPlace(std::string_view file) {
  constexpr std::size_t kFrame = 12;  // Length, kind and check sum around the content of a chunk.
  PacketPlace place;
  place.is_png = true;
  bool is_found = false;
  bool has_pixels = false;
  for (std::size_t begin = kPngMark.size();;) {
    if (file.size() < begin + kFrame) failCut();
    const std::size_t size = word(file, begin);
    if (file.size() - begin - kFrame < size) failCut();
    const std::size_t end = begin + kFrame + size;
    const std::string_view kind = file.substr(begin + 4, 4);
    const std::string_view content = file.substr(begin + 8, size);
    if (checkOf(file.substr(begin + 4, size + 4)) != word(file, end - 4)) failCut();
    if (kind == "IHDR" && place.end == 0) place.begin = place.end = end;
    has_pixels = has_pixels || kind == "IDAT";
    if (kind == "iTXt" && begins(content, kPngKey)) {
      if (is_found) fail("has two XMP packets, of which only one could be changed");
      is_found = true;
      place.begin = begin;
      place.end = end;
      place.text = packetInChunk(content);
    }
    if (kind == "IEND") break;
    begin = end;
  }
  if (place.end == 0 || !has_pixels) failCut();
  return place;
}

// The text with as many blanks before its last instruction as make it that long; nothing where it
// has too few to take away.
std::optional<std::string> ofSize(const std::string& text, std::size_t size) {
  const std::size_t end = text.rfind("<?xpacket end");
  if (end == std::string::npos) return std::nullopt;
  const std::size_t last = text.find_last_not_of(" \t\r\n", end - 1);
  const std::size_t begin = last == std::string::npos ? 0 : last + 1;
  const std::size_t rest = text.size() - (end - begin);
  if (rest > size) return std::nullopt;
  return text.substr(0, begin) + std::string(size - rest, ' ') + text.substr(end);
}

}  // namespace

PacketPlace packetPlaceIn(const std::string& file) {
  if (begins(file, "\xFF\xD8\xFF"sv)) return jpegPlace(file);
  if (begins(file, kPngMark)) return pngPlace(file);
  fail("is no JPEG or PNG file, and others are not written into: --xmp writes a file beside it");
}

std::string withPacket(const std::string& file, const PacketPlace& place, const std::string& text) {
  std::string packet = text;
  if (place.keeps_size) {
    const auto fitting = place.begin < place.end ? ofSize(text, place.text.size()) : std::nullopt;
    if (!fitting) {
      fail(
          "has something behind its picture, as a second picture, that would no longer be found "
          "once the file grows: --xmp writes a file beside it");
    }
    packet = *fitting;
  }
  std::string part;
  if (place.is_png) {
    std::string content = "iTXt";
    content += kPngKey;
    content += "\0\0\0\0"sv;  // Not compressed, no language, no key in it.
    content += packet;
    part = wordBytes(static_cast<std::uint32_t>(content.size() - 4)) + content +
           wordBytes(checkOf(content));
  } else {
    if (packet.size() > kMostInSegment) fail("has too little room for the packet in its segment");
    const std::size_t length = 2 + kPacketMark.size() + packet.size();
    part = "\xFF\xE1";
    part += static_cast<char>(length >> 8);
    part += static_cast<char>(length & 0xFF);
    part += kPacketMark;
    part += packet;
  }
  std::string changed = file;
  const auto former = static_cast<std::int64_t>(place.end - place.begin);
  addTo(changed, place.growing, static_cast<std::int64_t>(part.size()) - former);
  return changed.replace(place.begin, place.end - place.begin, part);
}

}  // namespace oznatool
