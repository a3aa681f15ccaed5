/// Facts that a command tells, as a table for people or as JSON for programs.

#ifndef OZNA_TOOLS_TOLD_FACTS_H_
#define OZNA_TOOLS_TOLD_FACTS_H_

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace oznatool {

/// Rows of texts with their columns in line, two blanks between them and before the first.
std::string columnsOf(const std::vector<std::vector<std::string>>& rows);

/// One JSON value as a line.
std::string lineOf(const nlohmann::ordered_json& value);

}  // namespace oznatool

#endif  // OZNA_TOOLS_TOLD_FACTS_H_
