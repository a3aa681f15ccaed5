/// Numbers as the sentences of errors have them, whatever the locale of the host.

#ifndef OZNA_KIT_NUMBER_TEXT_H_
#define OZNA_KIT_NUMBER_TEXT_H_

#include <cstdint>
#include <string>

namespace kit {

/// With six decimals behind a point: in a list, a decimal comma would part the number.
std::string numberText(float value);
inline std::string numberText(std::int32_t value) { return std::to_string(value); }
inline std::string numberText(std::int64_t value) { return std::to_string(value); }

/// "left L, top T, right R, bottom B".
std::string edgesText(float left, float top, float right, float bottom);

}  // namespace kit

#endif  // OZNA_KIT_NUMBER_TEXT_H_
