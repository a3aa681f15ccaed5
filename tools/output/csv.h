/// Comma-separated values: writing a field, and reading the first fields of each row.

#ifndef OZNA_TOOLS_OUTPUT_CSV_H_
#define OZNA_TOOLS_OUTPUT_CSV_H_

#include <cstddef>
#include <string>
#include <vector>

namespace oznatool {

/// A field as it stands in a row: in quotes where it holds a comma, a quote or a line break.
/// Source  RFC 4180.
std::string csvField(const std::string& text);

/// A name of a file as a cell that no spreadsheet takes for a formula: one that begins with =, +,
/// -,
/// @, a tab or a line break, or with the wide form of one of those signs, gets "./" before it and
/// still names the file.
std::string safeCell(const std::string& name);

/// A row of a text.
struct CsvRow {
  std::vector<std::string> fields;  ///< The first ones.
  std::size_t end = 0;              ///< The byte behind its line break.
};

/// The rows of a text with this many of their fields, or all where there are fewer. A row without a
/// line break at its end does not count.
std::vector<CsvRow> csvRowsOf(const std::string& text, std::size_t field_count);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_CSV_H_
