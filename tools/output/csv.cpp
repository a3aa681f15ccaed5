// Quotes around fields, and rows between them.

#include "tools/output/csv.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace oznatool {

std::string csvField(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char c : text) quoted += c == '"' ? "\"\"" : std::string(1, c);
  return quoted + "\"";
}

std::string safeCell(const std::string& name) {
  constexpr std::array<std::string_view, 11> kBegins = {
      "=", "+", "-", "@", "\t", "\r", "\n", "\uFF1D", "\uFF0B", "\uFF0D", "\uFF20"};
  for (const std::string_view begin : kBegins) {
    if (name.compare(0, begin.size(), begin) == 0) return "./" + name;
  }
  return name;
}

std::vector<CsvRow> csvRowsOf(const std::string& text, std::size_t field_count) {
  std::vector<CsvRow> rows;
  CsvRow row;
  std::string field;
  bool quoted = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const bool is_wanted = row.fields.size() < field_count;
    if (c == '"') {
      // Two quotes inside quotes are one: the first seems to end the field, the second to go on.
      if (!quoted && is_wanted && i > 0 && text[i - 1] == '"') field += c;
      quoted = !quoted;
    } else if ((c == ',' || c == '\n') && !quoted) {
      if (is_wanted) row.fields.push_back(field);
      field.clear();
      if (c == ',') continue;
      row.end = i + 1;
      rows.push_back(row);
      row = CsvRow();
    } else if (is_wanted) {
      field += c;
    }
  }
  return rows;
}

}  // namespace oznatool
