// Numbers without the locale of the host.

#include "kit/number_text.h"

#include <array>
#include <charconv>

namespace kit {

std::string numberText(float value) {
  std::array<char, 64> text;  // The largest number has 39 digits before the point.
  const std::to_chars_result result = std::to_chars(text.data(), text.data() + text.size(), value,
                                                    std::chars_format::fixed, /*precision=*/6);
  return {text.data(), result.ptr};
}

std::string edgesText(float left, float top, float right, float bottom) {
  return "left " + numberText(left) + ", top " + numberText(top) + ", right " + numberText(right) +
         ", bottom " + numberText(bottom);
}

}  // namespace kit
