/// The search parameters: their defaults, the test that they can work, and the size of the working
/// image they lead to.

#ifndef OZNA_TOOLS_WORKING_SIZE_H_
#define OZNA_TOOLS_WORKING_SIZE_H_

#include <cstdint>

#include "ozna.h"

namespace oznatool {

/// Parameters with which the working image of every photograph fits a first network of 384 by 384
/// pixels.
oznalib::CascadeParameter defaultParameter();

/// Throws Failure with kExitUsage, naming the option, where a value cannot work with any
/// photograph.
void checkParameter(const oznalib::CascadeParameter& parameter);

/// Sides of an image in pixels. 64-bit, since parameters may ask for more than a photograph can
/// have.
struct Size {
  std::int64_t width;
  std::int64_t height;
};

/// The working image that detect makes of a photograph, by the same float arithmetic and the same
/// truncations.
///
/// parameter  Has passed checkParameter.
/// Returns    Sides of 0 or more; a side beyond 2^31 - 1 comes back as 2^31 - 1.
Size workingSize(const Size& photograph, const oznalib::CascadeParameter& parameter);

}  // namespace oznatool

#endif  // OZNA_TOOLS_WORKING_SIZE_H_
