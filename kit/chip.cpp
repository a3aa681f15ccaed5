// The entry point of chips.

#include "kit/faces/chip.h"

#include <cstddef>

#include "kit/barrier.h"
#include "kit/oznakit.h"
#include "kit/sized.h"

oznakit_status oznakit_chip(const oznakit_image* image, const oznakit_face* face,
                            const oznakit_chip_options* options, void* pixels,
                            std::ptrdiff_t row_bytes) {
  return kit::guarded([&] {
    const oznakit_chip_options defaults = OZNAKIT_CHIP_OPTIONS_INIT;
    const oznakit_chip_options& given = options == nullptr ? defaults : *options;
    kit::requireGiven(image, "a picture");
    kit::requireSize(*image, "a picture");
    kit::requireGiven(face, "a face");
    kit::requireSize(*face, "a face");
    kit::requireSize(given, "the options of a chip");
    kit::cutChip(*image, *face, given, pixels, row_bytes);
  });
}
