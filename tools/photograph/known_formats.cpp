// First bytes of formats.

#include "tools/photograph/known_formats.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace oznatool {
namespace {

using namespace std::string_view_literals;

struct Mark {
  std::size_t at;
  std::string_view bytes;
  const char* name;  // Null for a format that the program reads.
};

constexpr std::array<Mark, 35> kMarks = {{
    {0, "\xFF\xD8\xFF"sv, nullptr},
    {0, "\x89PNG"sv, nullptr},
    {0, "II*\0"sv, nullptr},
    {0, "MM\0*"sv, nullptr},
    {0, "II+\0"sv, nullptr},
    {0, "MM\0+"sv, nullptr},
    {0, "GIF8"sv, nullptr},
    {8, "WEBPVP8"sv, nullptr},
    {0, "BM"sv, nullptr},
    {0, "\0\0\0\x0CjP  "sv, nullptr},
    {0, "\xFF\x4F\xFF\x51"sv, nullptr},
    {4, "ftypheic"sv, nullptr},
    {4, "ftypheix"sv, nullptr},
    {4, "ftypmif1"sv, nullptr},
    {4, "ftypavif"sv, nullptr},
    {0, "P7\n"sv, nullptr},
    {0, "8BPS"sv, "a Photoshop file"},
    {0, "%PDF"sv, "a PDF document"},
    {0, "%!PS"sv, "a PostScript document"},
    {0, "\xFF\x0A"sv, "a JPEG XL file"},
    {0, "\0\0\0\x0CJXL "sv, "a JPEG XL file"},
    {0, "v/1\x01"sv, "an OpenEXR file"},
    {0, "#?RADIANCE"sv, "a Radiance file"},
    {0, "gimp xcf"sv, "a GIMP file"},
    {0, "\0\0\x01\0"sv, "an icon"},
    {0, "<svg"sv, "an SVG drawing"},
    {0, "<?xml"sv, "an XML document"},
    {0, "AT&TFORM"sv, "a DjVu document"},
    {0, "PK\x03\x04"sv, "an archive"},
    {8, "AVI "sv, "a film"},
    {0, "\x1A\x45\xDF\xA3"sv, "a film"},
    {4, "ftypqt"sv, "a film"},
    {4, "ftypmp4"sv, "a film"},
    {4, "ftypisom"sv, "a film"},
    {4, "ftypcrx"sv, "a raw photograph without its ending, .cr3"},
}};

}  // namespace

std::string reasonWithoutHeader(const unsigned char* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes),
                              std::min<std::size_t>(size, 64));
  for (const Mark& mark : kMarks) {
    if (text.size() < mark.at || text.substr(mark.at, mark.bytes.size()) != mark.bytes) continue;
    if (mark.name == nullptr) return "is damaged";
    return "is " + std::string(mark.name) + ", which is not supported";
  }
  return "is in no known image format";
}

}  // namespace oznatool
