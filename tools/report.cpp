// Results as text.

#include "tools/report.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "tools/streams.h"

namespace oznatool {
namespace {

// With float as its number type, so that a number is written with the digits of a float and not of
// a double.
using Json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool,
                                  std::int64_t, std::uint64_t, float>;

Json pointList(const std::vector<float>& points) {
  Json list = Json::array();
  for (size_t i = 0; i + 1 < points.size(); i += 2)
    list.push_back(Json::array({points[i], points[i + 1]}));
  return list;
}

Json faceObject(const Face& face) {
  Json object;
  object["left"] = face.rect.left;
  object["top"] = face.rect.top;
  object["right"] = face.rect.right;
  object["bottom"] = face.rect.bottom;
  if (face.score) object["score"] = *face.score;
  if (!face.points.empty()) object["points"] = pointList(face.points);
  return object;
}

__attribute__((format(printf, 1, 2))) std::string formatted(const char* format, ...) {
  char
      text[160];  // Six numbers of a float's range fit: the largest has 40 digits before the point.
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  return text;
}

}  // namespace

std::string jsonLine(const Photograph& photograph, const std::vector<Face>& faces) {
  Json line;
  line["path"] = photograph.path;
  line["width"] = photograph.pixels.cols;
  line["height"] = photograph.pixels.rows;
  line["faces"] = Json::array();
  for (const Face& face : faces) line["faces"].push_back(faceObject(face));
  return line.dump(/*indent=*/-1, ' ', /*ensure_ascii=*/false, Json::error_handler_t::replace) +
         "\n";
}

std::string table(const Photograph& photograph, const std::vector<Face>& faces) {
  const char* const noun = faces.size() == 1 ? "face" : "faces";
  std::string text =
      printable(photograph.path) + formatted("  %d x %d  %zu %s\n", photograph.pixels.cols,
                                             photograph.pixels.rows, faces.size(), noun);
  if (!faces.empty()) {
    text +=
        formatted("%6s %9s %9s %9s %9s %8s\n", "face", "left", "top", "right", "bottom", "score");
  }
  for (size_t i = 0; i < faces.size(); ++i) {
    const Face& face = faces[i];
    text += formatted("%6zu %9.1f %9.1f %9.1f %9.1f", i + 1, face.rect.left, face.rect.top,
                      face.rect.right, face.rect.bottom);
    text += face.score ? formatted(" %8.4f\n", *face.score) : formatted(" %8s\n", "-");
    for (size_t p = 0; p + 1 < face.points.size(); p += 2) {
      text +=
          formatted("%16s %2zu %9.2f %9.2f\n", "point", p / 2, face.points[p], face.points[p + 1]);
    }
  }
  return text;
}

}  // namespace oznatool
