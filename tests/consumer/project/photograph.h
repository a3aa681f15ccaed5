/* Reads a PPM file of 8 bits, for the hosts in C and in C++. */

#ifndef PHOTOGRAPH_H_
#define PHOTOGRAPH_H_

#include <stdio.h>
#include <stdlib.h>

/* Three bytes per pixel, red first, which the caller frees; null where it is not such a file. */
static unsigned char* readPhotograph(const char* path, int* width, int* height) {
  FILE* file = fopen(path, "rb");
  int maximum = 0;
  unsigned char* pixels = NULL;
  if (file == NULL) return NULL;
  if (fscanf(file, "P6 %d %d %d", width, height, &maximum) == 3 && maximum == 255 &&
      fgetc(file) != EOF && *width > 0 && *height > 0) {
    const size_t bytes = (size_t)3 * (size_t)*width * (size_t)*height;
    pixels = (unsigned char*)malloc(bytes);
    if (pixels != NULL && fread(pixels, 1, bytes, file) != bytes) {
      free(pixels);
      pixels = NULL;
    }
  }
  fclose(file);
  return pixels;
}

#endif /* PHOTOGRAPH_H_ */
