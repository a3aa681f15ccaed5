// Every function of oznakit.h with an empty body, as interface.cpp has those of ozna.h.

#include <cstdint>

#include "oznakit.h"

std::int32_t oznakit_version() { return OZNAKIT_VERSION; }
const char* oznakit_status_text(oznakit_status) { return ""; }
const char* oznakit_last_message() { return ""; }
oznakit_status oznakit_finder_open(const oznakit_model_options*, oznakit_finder**) { return 0; }
void oznakit_finder_close(oznakit_finder*) {}
oznakit_status oznakit_finder_get_info(const oznakit_finder*, oznakit_finder_info*) { return 0; }
const char* oznakit_finder_file(const oznakit_finder*, int32_t) { return ""; }
oznakit_status oznakit_finder_plan(const oznakit_finder*, int32_t, int32_t,
                                   const oznakit_search_options*, oznakit_plan*) {
  return 0;
}
oznakit_status oznakit_finder_trim(oznakit_finder*) { return 0; }
int32_t oznakit_faces_count(const oznakit_faces*) { return 0; }
oznakit_status oznakit_faces_get(const oznakit_faces*, int32_t, oznakit_face*) { return 0; }
void oznakit_faces_free(oznakit_faces*) {}
oznakit_status oznakit_finder_find(oznakit_finder*, const oznakit_image*,
                                   const oznakit_search_options*, oznakit_faces**) {
  return 0;
}
oznakit_status oznakit_finder_align(oznakit_finder*, const oznakit_image*, const float*,
                                    const int32_t*, int32_t, int32_t, oznakit_faces**) {
  return 0;
}
oznakit_status oznakit_chip(const oznakit_image*, const oznakit_face*, const oznakit_chip_options*,
                            void*, ptrdiff_t) {
  return 0;
}
