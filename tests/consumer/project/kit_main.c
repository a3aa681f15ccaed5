/* A host in C: finds the one face of a photograph with what comes with the library. kit_main PHOTO.ppm; status 0 when
 * all is well. */

#include <oznakit.h>
#include <stdio.h>
#include <stdlib.h>

#include "photograph.h"

static int fail(const char* what) {
  fprintf(stderr, "%s: %s\n", what, oznakit_last_message());
  return 1;
}

int main(int argc, char** argv) {
  oznakit_finder* finder = NULL;
  oznakit_faces* faces = NULL;
  oznakit_image image = OZNAKIT_IMAGE_INIT;
  oznakit_search_options options = OZNAKIT_SEARCH_OPTIONS_INIT;
  oznakit_chip_options chip_options = OZNAKIT_CHIP_OPTIONS_INIT;
  oznakit_face face = OZNAKIT_FACE_INIT;
  unsigned char chip[64 * 64 * 3];
  int width, height;
  unsigned char* pixels;
  if (argc != 2) return fail("kit_main PHOTO.ppm");
  if (oznakit_version() != OZNAKIT_VERSION) return fail("another version");
  pixels = readPhotograph(argv[1], &width, &height);
  if (pixels == NULL) return fail("no photograph");
  if (oznakit_finder_open(NULL, &finder) != OZNAKIT_OK) return fail("no models");

  image.pixels = pixels;
  image.width = width;
  image.height = height;
  options.with = OZNAKIT_WITH_POINTS_68 | OZNAKIT_WITH_DETAILS;
  if (oznakit_finder_find(finder, &image, &options, &faces) != OZNAKIT_OK) return fail("no search");
  if (oznakit_faces_count(faces) != 1) return fail("not one face");
  if (oznakit_faces_get(faces, 0, &face) != OZNAKIT_OK) return fail("no face");
  if (face.point_count != 68 || !(face.quality > 0.0f)) return fail("no points");
  if (!(face.points[60] > face.left && face.points[60] < face.right)) return fail("no nose");
  chip_options.width = 64;
  chip_options.height = 64;
  if (oznakit_chip(&image, &face, &chip_options, chip, 0) != OZNAKIT_OK) return fail("no chip");
  printf("%g %g %g %g\n", (double)face.left, (double)face.top, (double)face.right,
         (double)face.bottom);

  oznakit_faces_free(faces);
  oznakit_finder_close(finder);
  free(pixels);
  return 0;
}
