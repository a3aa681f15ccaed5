/// Text that others chose, made harmless for who reads it on a terminal.

#ifndef OZNA_TOOLS_PROCESS_TERMINAL_TEXT_H_
#define OZNA_TOOLS_PROCESS_TERMINAL_TEXT_H_

#include <string>

namespace oznatool {

/// The text with what a terminal would obey, or what would change the order or the lines of the
/// text shown, in ASCII: control characters of both sets (U+0000 to U+001F, U+007F to U+009F) and
/// bytes that are not UTF-8 as \x1b, bidirectional marks and the line and paragraph separators as
/// \u202e. Escaped twice it is the same.
///
/// keeps_lines  Line breaks stay.
std::string escapedForTerminal(const std::string& text, bool keeps_lines);

/// A JSON text in which the same characters, where they stand in strings, are escaped as JSON does:
/// the values are the same. json  In UTF-8.
std::string escapedInJson(const std::string& json);

/// Whether a text is UTF-8 throughout.
bool isUtf8(const std::string& text);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PROCESS_TERMINAL_TEXT_H_
