// The choice among the forms.

#include "tools/output/report.h"

namespace oznatool {
namespace {

std::string nameIf(const Record& record, bool has_faces) {
  const bool is_one = !record.failure && record.faces.empty() != has_faces;
  return is_one ? record.path + "\n" : "";
}

}  // namespace

std::string formatted(const Record& record, const ReportOptions& options) {
  switch (options.format) {
    case Format::kText:
      return table(record, options.lists_points);
    case Format::kJson:
      return jsonLine(record, options.columns.turn);
    case Format::kCsv:
      return csvRows(record, options.columns, options.safe_cells);
    case Format::kNothing:
    case Format::kCoco:
      return "";  // One document for all: see coco_export.h.
    case Format::kWithFaces:
      return nameIf(record, /*has_faces=*/true);
    case Format::kWithoutFaces:
      return nameIf(record, /*has_faces=*/false);
  }
  return "";
}

}  // namespace oznatool
