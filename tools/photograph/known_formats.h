/// Names what a file is that no decoder of the program reads, so that "not supported" and "damaged"
/// are told apart.

#ifndef OZNA_TOOLS_PHOTOGRAPH_KNOWN_FORMATS_H_
#define OZNA_TOOLS_PHOTOGRAPH_KNOWN_FORMATS_H_

#include <cstddef>
#include <string>

namespace oznatool {

/// Why a file without a readable header cannot be looked at: "is a PDF document, which is not
/// supported", "is damaged" where it begins as a supported format does, else "is in no known image
/// format".
std::string reasonWithoutHeader(const unsigned char* bytes, std::size_t size);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_KNOWN_FORMATS_H_
