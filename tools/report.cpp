// The choice among the forms.

#include "tools/report.h"

namespace oznatool {

std::string formatted(const Record& record, const Options& options) {
  switch (options.format) {
    case Format::kText:
      return table(record);
    case Format::kJson:
      return jsonLine(record);
    case Format::kCsv:
      return csvRows(record, options.points, options.safe_cells);
  }
  return "";
}

}  // namespace oznatool
