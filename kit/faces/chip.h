/// Upright pictures of one face.

#ifndef OZNA_KIT_FACES_CHIP_H_
#define OZNA_KIT_FACES_CHIP_H_

#include <cstddef>

#include "kit/oznakit.h"

namespace kit {

/// Cuts a chip; see oznakit_chip. The size fields of the structures have been looked at before.
///
/// Errors  Error with OZNAKIT_BAD_ARGUMENT; std::bad_alloc.
void cutChip(const oznakit_image& image, const oznakit_face& face,
             const oznakit_chip_options& options, void* pixels, std::ptrdiff_t row_bytes);

}  // namespace kit

#endif  // OZNA_KIT_FACES_CHIP_H_
