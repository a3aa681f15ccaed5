/// Tables for people and JSON lines for programs, as the commands that describe something write
/// them.

#ifndef OZNA_TOOLS_COMMANDS_TEXT_TABLE_H_
#define OZNA_TOOLS_COMMANDS_TEXT_TABLE_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace oznatool {

/// Rows of texts with their columns in line, two blanks between them and before the first.
std::string columnsOf(const std::vector<std::vector<std::string>>& rows);

/// One JSON value as a line.
std::string lineOf(const nlohmann::ordered_json& value);

}  // namespace oznatool

#endif  // OZNA_TOOLS_COMMANDS_TEXT_TABLE_H_
