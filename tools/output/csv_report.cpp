// Records as comma-separated values.

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>

#include "tools/output/csv.h"
#include "tools/output/report.h"

namespace oznatool {
namespace {

// The fewest digits that give back the same float; empty for what is not finite.
std::string number(float value) {
  if (!std::isfinite(value)) return "";
  std::array<char, 64> text;
  const std::to_chars_result result =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  return {text.data(), result.ptr};
}

std::string empties(std::size_t count) { return std::string(count, ','); }

std::string nameField(const std::string& name, bool safe_cells) {
  return csvField(safe_cells ? safeCell(name) : name);
}

std::string stampColumns(const Record& record) {
  if (!record.stamp) return ",,";
  return "," + std::to_string(record.stamp->bytes) + "," + record.stamp->modified;
}

std::string faceColumns(const Face& face, std::size_t index, bool safe_cells) {
  std::string row = "," + std::to_string(index + 1);
  for (const float edge : {face.rect.left, face.rect.top, face.rect.right, face.rect.bottom}) {
    row += "," + number(edge);
  }
  return row + "," + (face.score ? number(*face.score) : "") + "," +
         nameField(face.chip, safe_cells);
}

std::string detailColumns(const Face& face) {
  if (!face.details) return empties(kDetailNames.size());
  std::string columns;
  for (const float value : numbersOf(*face.details)) columns += "," + number(value);
  return columns;
}

}  // namespace

std::string csvHeading(const CsvColumns& columns) {
  std::string heading =
      "path,width,height,orientation,faces,face,left,top,right,bottom,score,chip,error,message,"
      "bytes,modified";
  for (int i = 0; i < columns.points; ++i) {
    heading += ",x" + std::to_string(i) + ",y" + std::to_string(i);
  }
  if (columns.turn) heading += ",turn";
  if (columns.details) {
    for (const char* const name : kDetailNames) heading += std::string(",") + name;
  }
  return heading + "\n";
}

std::string csvRows(const Record& record, const CsvColumns& columns, bool safe_cells) {
  constexpr std::size_t kPhotographColumns = 4;  // Width, height, orientation, number of faces.
  constexpr std::size_t kFaceColumns = 7;        // Face, edges, score, chip.
  const std::size_t point_columns = 2 * static_cast<std::size_t>(columns.points);
  const std::size_t last_columns =
      point_columns + (columns.turn ? 1 : 0) + (columns.details ? kDetailNames.size() : 0);
  const std::string path = nameField(record.path, safe_cells);
  if (record.failure) {
    return path + empties(kPhotographColumns + kFaceColumns) + "," +
           nameOf(record.failure->kind()) + "," + csvField(record.failure->reason()) +
           stampColumns(record) + empties(last_columns) + "\n";
  }
  const std::string photograph =
      path + "," + std::to_string(record.size.width) + "," + std::to_string(record.size.height) +
      "," + std::to_string(record.orientation) + "," + std::to_string(record.faces.size());
  if (record.faces.empty()) {
    return photograph + empties(kFaceColumns + 2) + stampColumns(record) + empties(last_columns) +
           "\n";
  }
  std::string rows;
  for (std::size_t i = 0; i < record.faces.size(); ++i) {
    const std::vector<float>& points = record.faces[i].points;
    rows += photograph + faceColumns(record.faces[i], i, safe_cells) + ",," + stampColumns(record);
    for (const float coordinate : points) rows += "," + number(coordinate);
    rows += empties(point_columns - std::min(point_columns, points.size()));
    if (columns.turn) rows += "," + std::to_string(record.faces[i].turn);
    if (columns.details) rows += detailColumns(record.faces[i]);
    rows += "\n";
  }
  return rows;
}

}  // namespace oznatool
