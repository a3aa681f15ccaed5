/// Tells cascades that the build of the program has seen from those that it has not.

#ifndef OZNA_TOOLS_KNOWN_CASCADE_H_
#define OZNA_TOOLS_KNOWN_CASCADE_H_

#include <string>

#include "tools/cascade_files.h"

namespace oznatool {

/// A digest of the names and contents of all files of a cascade: 32 hexadecimal digits; empty where
/// a file cannot be read. It tells damage, not intent: it is no cryptographic one.
///
/// Cost  About a millisecond for 8 MB that are in the memory of the system.
std::string digestOf(const CascadeFiles& files);

/// Whether a cascade is, byte for byte, one that lay in the source tree when the program was built.
/// Such a cascade needs no trial: the tests of the build load it and search with it.
bool isKnownCascade(const CascadeFiles& files);

}  // namespace oznatool

#endif  // OZNA_TOOLS_KNOWN_CASCADE_H_
