// Tables and lines.

#include "tools/commands/text_table.h"

#include <algorithm>
#include <cstddef>

namespace oznatool {

std::string columnsOf(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths;
  for (const std::vector<std::string>& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i + 1 < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const std::vector<std::string>& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      text += "  " + row[i];
      if (i + 1 < row.size()) text += std::string(widths[i] - row[i].size(), ' ');
    }
    text += "\n";
  }
  return text;
}

std::string lineOf(const nlohmann::ordered_json& value) {
  return value.dump(/*indent=*/-1, ' ', /*ensure_ascii=*/false,
                    nlohmann::ordered_json::error_handler_t::replace) +
         "\n";
}

}  // namespace oznatool
