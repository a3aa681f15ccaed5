// UTF-8, read one character at a time.

#include "tools/process/terminal_text.h"

#include <array>
#include <cstddef>
#include <cstdio>

namespace oznatool {
namespace {

// A character and the number of its bytes.
struct Character {
  char32_t code;
  std::size_t size;
  bool is_valid;  // Otherwise one byte that begins no character.
};

Character characterAt(const std::string& text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const Character invalid = {byte(at), 1, false};
  const unsigned char first = byte(at);
  if (first < 0x80) return {first, 1, true};
  const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || at + size > text.size()) return invalid;
  char32_t code = first & (0xFFU >> (size + 1));
  for (std::size_t i = 1; i < size; ++i) {
    if ((byte(at + i) & 0xC0U) != 0x80U) return invalid;
    code = code << 6 | (byte(at + i) & 0x3FU);
  }
  // Longer than it must be, half of a pair, or beyond the last character.
  constexpr std::array<char32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};
  const bool is_surrogate = code >= 0xD800 && code <= 0xDFFF;
  if (code < kLeast[size] || is_surrogate || code > 0x10FFFF) return invalid;
  return {code, size, true};
}

bool isControl(char32_t code) { return code < 0x20 || (code >= 0x7F && code <= 0x9F); }

bool movesText(char32_t code) {
  return code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x2028 && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

std::string printed(const char* format, char32_t code) {
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), format, static_cast<unsigned>(code));
  return text.data();
}

}  // namespace

std::string escapedForTerminal(const std::string& text, bool keeps_lines) {
  std::string shown;
  for (std::size_t at = 0; at < text.size();) {
    const Character character = characterAt(text, at);
    if (keeps_lines && character.code == '\n') {
      shown += '\n';
    } else if (!character.is_valid || isControl(character.code)) {
      shown += printed("\\x%02x", character.code);
    } else if (movesText(character.code)) {
      shown += printed("\\u%04x", character.code);
    } else {
      shown.append(text, at, character.size);
    }
    at += character.size;
  }
  return shown;
}

std::string escapedInJson(const std::string& json) {
  std::string escaped;
  for (std::size_t at = 0; at < json.size();) {
    const Character character = characterAt(json, at);
    // Those below 0x20 are escaped already, or stand between values.
    const bool is_active =
        character.code >= 0x7F && (isControl(character.code) || movesText(character.code));
    if (is_active) {
      escaped += printed("\\u%04x", character.code);
    } else {
      escaped.append(json, at, character.size);
    }
    at += character.size;
  }
  return escaped;
}

bool isUtf8(const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const Character character = characterAt(text, at);
    if (!character.is_valid) return false;
    at += character.size;
  }
  return true;
}

}  // namespace oznatool
