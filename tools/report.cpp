// The choice among the forms.

#include "tools/report.h"

namespace oznatool {

std::string formatted(const Record& record, Format format, int point_count) {
  switch (format) {
    case Format::kText:
      return table(record);
    case Format::kJson:
      return jsonLine(record);
    case Format::kCsv:
      return csvRows(record, point_count);
  }
  return "";
}

}  // namespace oznatool
