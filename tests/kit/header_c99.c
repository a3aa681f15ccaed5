/* oznakit.h as a host in C99 sees it: every _INIT macro initialises its structure, and its size is
 * the structure's. */

#include "oznakit.h"

int initialised_in_c(void);

int initialised_in_c(void) {
  const oznakit_model_options models = OZNAKIT_MODEL_OPTIONS_INIT;
  const oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
  const oznakit_image image = OZNAKIT_IMAGE_INIT;
  const oznakit_search_options search = OZNAKIT_SEARCH_OPTIONS_INIT;
  const oznakit_face face = OZNAKIT_FACE_INIT;
  const oznakit_chip_options chip = OZNAKIT_CHIP_OPTIONS_INIT;
  const oznakit_plan plan = OZNAKIT_PLAN_INIT;
  const oznakit_scan scan = OZNAKIT_SCAN_INIT;
  return plan.size == sizeof plan && plan.reduction == 1 &&
         plan.scan.window_size == scan.window_size && models.size == sizeof models &&
         models.built_in == 0 && models.parts == 0 && info.size == sizeof info &&
         image.size == sizeof image && image.orientation == 1 && search.size == sizeof search &&
         search.turns == 1 && search.margin == OZNAKIT_MARGIN_AUTO && search.progress == 0 &&
         face.size == sizeof face && chip.size == sizeof chip && chip.width == 256 &&
         chip.colour[3] == 255;
}
