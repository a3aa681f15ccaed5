/// The size of the working image, in which the first network searches.

#ifndef OZNA_KIT_SEARCH_WORKING_SIZE_H_
#define OZNA_KIT_SEARCH_WORKING_SIZE_H_

#include <cstdint>

#include "ozna.h"

namespace kit {

/// Parameters with which the working image of every picture fits a first network of 384 by 384
/// pixels: the preset balanced.
oznalib::CascadeParameter defaultParameter();

/// Sides of an image in pixels. 64-bit, since parameters may ask for more than a picture can have.
struct Size {
  std::int64_t width;
  std::int64_t height;
};

/// The working image that the cascade makes of a picture, by the same float arithmetic and the same
/// truncations.
///
/// parameter  In the ranges of oznakit_scan.
/// Returns    Sides of 0 or more; a side beyond 2^31 - 1 comes back as 2^31 - 1.
Size workingSize(const Size& picture, const oznalib::CascadeParameter& parameter);

/// Whether the first network, with an input of that size, can search a working image. Its memory is
/// one run of numbers: what counts is the area, not the single side.
bool fits(const Size& working, const Size& input);

/// Side in pixels of a picture of the smallest face that is searched for.
float smallestFace(const Size& picture, const oznalib::CascadeParameter& parameter);

}  // namespace kit

#endif  // OZNA_KIT_SEARCH_WORKING_SIZE_H_
