/// Structures that begin with their size, as callers of several versions hand them in.

#ifndef OZNA_KIT_SIZED_H_
#define OZNA_KIT_SIZED_H_

#include <cstddef>
#include <string>

#include "kit/error.h"
#include "kit/oznakit.h"

namespace kit {

/// Throws Error with OZNAKIT_BAD_ARGUMENT where a pointer is null.
///
/// name  Of the argument, for the message.
inline void requireGiven(const void* argument, const char* name) {
  if (argument == nullptr) {
    throw Error(OZNAKIT_BAD_ARGUMENT, std::string("Expected ") + name + ", found a null pointer.");
  }
}

/// Throws Error with OZNAKIT_BAD_ARGUMENT where the size in a structure is that of no version of
/// it.
template <class Struct>
void requireSize(const Struct& given, const char* name) {
  if (given.size != sizeof(Struct)) {
    throw Error(OZNAKIT_BAD_ARGUMENT, std::string("Expected the size of ") + name + " to be " +
                                          std::to_string(sizeof(Struct)) +
                                          " as its _INIT macro sets it, found " +
                                          std::to_string(given.size) + ".");
  }
}

}  // namespace kit

#endif  // OZNA_KIT_SIZED_H_
