// Records as JSON lines.

#include <array>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "tools/output/report.h"
#include "tools/process/terminal_text.h"

namespace oznatool {
namespace {

// With float as its number type, so that a number is written with the digits of a float and not of
// a double.
using Json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool,
                                  std::int64_t, std::uint64_t, float>;

// Two digits per byte.
std::string hexOf(const std::string& bytes) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string hex;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    hex += {kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return hex;
}

// A name, and its bytes beside it where they are no text.
void setName(Json& object, const std::string& key, const std::string& name) {
  object[key] = name;
  if (!isUtf8(name)) object[key + "_hex"] = hexOf(name);
}

Json pointList(const std::vector<float>& points) {
  Json list = Json::array();
  for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
    list.push_back(Json::array({points[i], points[i + 1]}));
  }
  return list;
}

Json faceObject(const Face& face, bool tells_turn) {
  Json object;
  object["left"] = face.rect.left;
  object["top"] = face.rect.top;
  object["right"] = face.rect.right;
  object["bottom"] = face.rect.bottom;
  if (face.score) object["score"] = *face.score;
  if (tells_turn) object["turn"] = face.turn;
  if (face.details) {
    const std::array<float, kDetailNames.size()> numbers = numbersOf(*face.details);
    for (std::size_t i = 0; i < numbers.size(); ++i) object[kDetailNames[i]] = numbers[i];
  }
  if (!face.points.empty()) object["points"] = pointList(face.points);
  if (!face.chip.empty()) setName(object, "chip", face.chip);
  return object;
}

}  // namespace

std::string jsonLine(const Record& record, bool tells_turn) {
  Json line;
  line["schema"] = kSchemaVersion;
  setName(line, "path", record.path);
  if (record.stamp) {
    line["bytes"] = record.stamp->bytes;
    line["modified"] = record.stamp->modified;
  }
  if (record.failure) {
    line["error"]["kind"] = nameOf(record.failure->kind());
    line["error"]["message"] = record.failure->reason();
  } else {
    line["width"] = record.size.width;
    line["height"] = record.size.height;
    line["orientation"] = record.orientation;
    line["faces"] = Json::array();
    for (const Face& face : record.faces) line["faces"].push_back(faceObject(face, tells_turn));
    if (!record.warnings.empty()) line["warnings"] = record.warnings;
  }
  return escapedInJson(line.dump(/*indent=*/-1, ' ', /*ensure_ascii=*/false,
                                 Json::error_handler_t::replace)) +
         "\n";
}

}  // namespace oznatool
