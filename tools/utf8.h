/// File names as text.

#ifndef OZNA_TOOLS_UTF8_H_
#define OZNA_TOOLS_UTF8_H_

#include <string>

namespace oznatool {

/// A file name as JSON shows it: bytes that are not UTF-8 become U+FFFD.
std::string asUtf8(const std::string& name);

}  // namespace oznatool

#endif  // OZNA_TOOLS_UTF8_H_
