/* Oznakit: face analysis for applications, as a C interface.
 *
 * It finds the faces in pictures as a host holds them in memory, places landmarks on them, measures
 * what follows from those (pose, openness of the eyes, sharpness) and cuts upright chips.
 *
 *     oznakit_finder* finder = NULL;
 *     if (oznakit_finder_open(NULL, &finder) != OZNAKIT_OK) puts(oznakit_last_message());
 *     oznakit_image image = OZNAKIT_IMAGE_INIT;
 *     image.pixels = pixels; image.width = width; image.height = height;
 *     image.format = OZNAKIT_BGRA;
 *     oznakit_faces* faces = NULL;
 *     oznakit_finder_find(finder, &image, NULL, &faces);
 *     for (int32_t i = 0; i < oznakit_faces_count(faces); ++i) {
 *       oznakit_face face = OZNAKIT_FACE_INIT;
 *       oznakit_faces_get(faces, i, &face);
 *     }
 *     oznakit_faces_free(faces);
 *     oznakit_finder_close(finder);
 *
 * Coordinates. Origin at the top left corner of the upright picture, x to the right, y down, in
 * pixels. A rectangle's right and bottom are edges: a box of width 10 at left 5 has right 15.
 * Landmarks have 0 at the centre of the first pixel. "Left" and "right" are those of the picture.
 *
 * Errors. A function that can fail returns a status; what went wrong stands as a sentence in
 * oznakit_last_message. No function throws, writes to a stream or ends the process, whatever the
 * model files, pixels and numbers given to it are, as long as pointers point to what they promise.
 * Memory that runs out comes back as OZNAKIT_NO_MEMORY. This goes for the mathematics library inside
 * this one too, which could only end the process if it got no memory for a workspace in the middle of
 * a product: oznakit_finder_open has the first one ready, and each search and alignment that runs
 * beside others has one of its own ready before its work begins, or reports that there is no memory. A
 * workspace is 17 MB of address space, of which some 100 KB are touched; as many as were in use at the
 * same time are kept for the life of the process. A liboznakit that was built around another
 * mathematics library, and liboznakit.a, which encloses none, promise nothing for that library.
 *
 * Structures begin with their size, which the _INIT macros fill in. A later version adds fields at
 * the end; the library reads and writes as many as the caller's version has. A size that is that of
 * no version which the library knows, such as 0, is a bad argument.
 *
 * Threads. The library starts none; everything runs in the calling thread. A finder may be used by
 * any number of threads at once, without a lock of the host's. Faces belong to one thread at a time
 * while they are freed, and may be read by any number.
 */

#ifndef OZNAKIT_H_
#define OZNAKIT_H_

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#if defined(OZNAKIT_BUILDING)
#define OZNAKIT_EXPORT __declspec(dllexport)
#elif defined(OZNAKIT_STATIC)
#define OZNAKIT_EXPORT
#else
#define OZNAKIT_EXPORT __declspec(dllimport)
#endif
#else
#define OZNAKIT_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Version of this header. Equal major numbers are compatible; before 1.0, equal minor ones. */
#define OZNAKIT_VERSION_MAJOR 0
#define OZNAKIT_VERSION_MINOR 1
#define OZNAKIT_VERSION_PATCH 0
#define OZNAKIT_VERSION \
  (OZNAKIT_VERSION_MAJOR * 10000 + OZNAKIT_VERSION_MINOR * 100 + OZNAKIT_VERSION_PATCH)

/* Version of the library that runs, as OZNAKIT_VERSION. Never fails. Any thread. */
OZNAKIT_EXPORT int32_t oznakit_version(void);

/* ---- Status ---------------------------------------------------------------------------------- */

typedef int32_t oznakit_status;
#define OZNAKIT_OK 0
#define OZNAKIT_CANCELLED 1    /* The progress callback asked for it. */
#define OZNAKIT_BAD_ARGUMENT 2 /* A null pointer, a number out of range, no pixels. */
#define OZNAKIT_NO_MODEL 3     /* No model files where they were looked for, or unreadable ones. */
#define OZNAKIT_BAD_MODEL 4    /* A model file that is damaged or does not fit the others. */
#define OZNAKIT_NO_MEMORY 5
#define OZNAKIT_INTERNAL 6 /* A fault of the library itself; the message says which. */

/* A word for a status, such as "bad argument"; "unknown status" for any other number. Static text.
 * Any thread. */
OZNAKIT_EXPORT const char* oznakit_status_text(oznakit_status status);

/* Why the last call of this thread that failed did so: one sentence in UTF-8 that says what was
 * expected and what was found, with file and line where a model file is at fault. Empty before the
 * first failure. Valid until the thread's next call that fails, or its end. Owned by the library. */
OZNAKIT_EXPORT const char* oznakit_last_message(void);

/* ---- Models ---------------------------------------------------------------------------------- */

/* A model file in memory. name: relative to the directory that it stands for, as "stages.txt" or
 * "cascades/first/proto-full"; '/' separates. bytes may be freed after the call that takes them. */
typedef struct oznakit_file {
  const char* name;
  const void* bytes;
  size_t byte_count;
} oznakit_file;

/* Which models a finder holds. */
#define OZNAKIT_DETECTION 1 /* The cascade: stages.txt and what it names. */
#define OZNAKIT_LANDMARKS 2 /* models/face68.sdm; ../models/face68.sdm where there is none. */

/* Where models come from. At most one of directory, files and built_in is given. With none, the
 * first that there is of: the directory that the environment variable OZNA_MODELS names; the models
 * inside the library, where it was built with them; share/ozna of the prefix in which this library
 * lies, or public/ of the source tree in whose build folder it lies. Of these last two it is the
 * compact cascade in the folder compact/ that is taken. */
typedef struct oznakit_model_options {
  size_t size;               /* sizeof(oznakit_model_options). */
  const char* directory;     /* In UTF-8, or as the file system has it. Null: not given. */
  const oznakit_file* files; /* Null: not given. Unused names are passed over. */
  size_t file_count;
  int32_t built_in; /* 1: the models inside the library; OZNAKIT_NO_MODEL where it has none. */
  int32_t parts;    /* Sum of OZNAKIT_DETECTION and OZNAKIT_LANDMARKS; 0 stands for both. */
} oznakit_model_options;
#define OZNAKIT_MODEL_OPTIONS_INIT \
  { sizeof(oznakit_model_options), 0, 0, 0, 0, 0 }

/* Models that have been checked to the last weight, and as many detectors as were used at once. */
typedef struct oznakit_finder oznakit_finder;

/* Opens and checks models.
 *
 * options  Null for the defaults.
 * finder   Gets a handle that the caller closes; null on failure.
 * Errors   OZNAKIT_NO_MODEL, OZNAKIT_BAD_MODEL, OZNAKIT_BAD_ARGUMENT, OZNAKIT_NO_MEMORY.
 * Threads  Any.
 * Cost     Reads some 20 to 30 MB with landmarks, and 2 to 9 without. */
OZNAKIT_EXPORT oznakit_status oznakit_finder_open(const oznakit_model_options* options,
                                                  oznakit_finder** finder);

/* Frees a finder; null is left alone. No other call with it may run. Faces found by it stay. */
OZNAKIT_EXPORT void oznakit_finder_close(oznakit_finder* finder);

/* What a finder holds. */
typedef struct oznakit_finder_info {
  size_t size;         /* sizeof(oznakit_finder_info). */
  const char* models;  /* Directory of the models, "memory" or "built in". Owned by the finder. */
  const char* source;  /* Why there: "given", "OZNA_MODELS", "built in", "beside the library". */
  int32_t parts;       /* OZNAKIT_DETECTION, OZNAKIT_LANDMARKS. */
  int32_t stages;      /* Networks that judge, the calibration not counted. */
  int32_t scan_width;  /* Declared input of the first network in pixels: a working image of */
  int32_t scan_height; /* more pixels cannot be searched. */
  int32_t detectors;   /* Made so far: the most that were in use at once since the last trim. */
} oznakit_finder_info;
#define OZNAKIT_FINDER_INFO_INIT \
  { sizeof(oznakit_finder_info), 0, 0, 0, 0, 0, 0, 0 }

OZNAKIT_EXPORT oznakit_status oznakit_finder_get_info(const oznakit_finder* finder,
                                                      oznakit_finder_info* info);

/* Name of the index-th model file that opening has read, from 0 on, as oznakit_file has it; null behind
 * the last. Owned by the finder. Any thread. */
OZNAKIT_EXPORT const char* oznakit_finder_file(const oznakit_finder* finder, int32_t index);

/* Frees the detectors that nobody uses now, some 8 MB each. Any thread, beside anything but close. */
OZNAKIT_EXPORT oznakit_status oznakit_finder_trim(oznakit_finder* finder);

/* ---- Pictures -------------------------------------------------------------------------------- */

/* Order of the 8-bit channels of a pixel in memory, first byte first. Alpha is ignored. */
#define OZNAKIT_RGB 0
#define OZNAKIT_BGR 1
#define OZNAKIT_RGBA 2
#define OZNAKIT_BGRA 3
#define OZNAKIT_ARGB 4
#define OZNAKIT_GREY 5

/* Pixels of the host, read during one call only. Any number of calls may read them at once; nobody
 * may write to them meanwhile. */
typedef struct oznakit_image {
  size_t size;        /* sizeof(oznakit_image). */
  const void* pixels; /* First byte of the stored picture's first row, the top one. */
  int32_t width;      /* Of the stored picture, 1 to 1000000. */
  int32_t height;     /* 1 to 1000000. */
  /* Bytes from a row to the one below: negative where rows go upwards, 0 for rows without gaps. */
  ptrdiff_t row_bytes;
  int32_t format;      /* OZNAKIT_RGB and so on. */
  int32_t orientation; /* As in Exif, 1 to 8; 0 stands for 1, upright. */
} oznakit_image;
#define OZNAKIT_IMAGE_INIT \
  { sizeof(oznakit_image), 0, 0, 0, 0, OZNAKIT_RGB, 1 }

/* ---- Searches -------------------------------------------------------------------------------- */

#define OZNAKIT_BALANCED 0 /* Faces from about 5 percent of the longer side. */
#define OZNAKIT_FAST 1     /* Faces from about 10 percent. */
#define OZNAKIT_THOROUGH 2 /* Faces from 20 pixels, in tiles. */

/* What is reported of a face beside its box and score. */
#define OZNAKIT_WITH_POINTS_68 1
#define OZNAKIT_WITH_POINTS_5 2 /* Either this or the one before. */
#define OZNAKIT_WITH_DETAILS 4  /* Quality, pose, eyes, sharpness, with or without points. */

/* Margin that is tried by itself: see oznakit_search_options. */
#define OZNAKIT_MARGIN_AUTO (-1.0)

/* Called between units of work, in the thread of the call.
 *
 * done     Share of the work that is done, 0 to 1, never less than before. 1 comes last.
 * Returns  0 to cancel: the call then returns OZNAKIT_CANCELLED soon, within some 50 milliseconds.
 * It must not use the finder's close, nor leave by an exception or a long jump. */
typedef int32_t (*oznakit_progress)(float done, void* context);

/* The numbers of the search itself, for experts; in place of preset, min_face and their tiles. */
typedef struct oznakit_scan {
  float max_upscale;       /* Largest factor by which a small picture is enlarged. Above 0. */
  int32_t max_image_side;  /* Longer side in pixels that it is brought towards. Above 0. */
  float min_face_fraction; /* Smallest face as a share of max_image_side. Above 0, at most 1, and
                            * together with the others such that it has at least 4 pixels of the
                            * picture. */
  int32_t pyramid_levels;  /* Number of sizes that are searched, 1 to 1000. */
  float pyramid_factor;    /* Ratio of neighbouring sizes, 1.01 to 100. */
  int32_t window_size;     /* Window of the first network in pixels, 4 to 10000; 13 in the models
                            * that come with the library. */
} oznakit_scan;
/* The numbers of OZNAKIT_BALANCED; OZNAKIT_FAST has a min_face_fraction of 0.1. */
#define OZNAKIT_SCAN_INIT \
  { 2.0F, 640, 0.05F, 12, 1.26F, 13 }

typedef struct oznakit_search_options {
  size_t size;    /* sizeof(oznakit_search_options). */
  int32_t preset; /* OZNAKIT_BALANCED and so on. */
  /* The smallest face, in one of two ways. 0: by the preset, or by the other. */
  float min_face_px;     /* In pixels of the picture, 8 to 100000. */
  double min_face_share; /* As a share of the longer side, 0.001 to 1. */
  /* 1: faces that stand upright. 4: also lying and upside down, by four searches of the picture
   * turned by quarters. */
  int32_t turns;
  /* Border put around the picture before the search, as a share of its longer side, 0 to 1, for
   * faces that fill it. OZNAKIT_MARGIN_AUTO: one is tried where a small picture that is nearly
   * square shows no face. */
  double margin;
  float least_score;         /* Faces with a lower score are left out. 0 to 1. */
  int32_t max_faces;         /* The best so many; 0 for all. */
  int32_t with;              /* Sum of OZNAKIT_WITH_...; 0 for boxes and scores alone. */
  const oznakit_scan* scan;  /* Null as a rule. */
  oznakit_progress progress; /* Null: none. */
  void* context;             /* Handed to progress. */
} oznakit_search_options;
#define OZNAKIT_SEARCH_OPTIONS_INIT                                                                \
  {                                                                                                \
    sizeof(oznakit_search_options), OZNAKIT_BALANCED, 0, 0, 1, OZNAKIT_MARGIN_AUTO, 0, 0, 0, 0, 0, \
        0                                                                                          \
  }

/* ---- Faces ----------------------------------------------------------------------------------- */

typedef struct oznakit_face {
  size_t size;                    /* sizeof(oznakit_face). */
  float left, top, right, bottom; /* Box in the upright picture; not clipped to it. */
  float score;         /* Probability of a face, 0 to 1; NaN for a box that the host gave. */
  int32_t turn;        /* Quarter turns clockwise that bring the face upright, 0 to 3. */
  int32_t point_count; /* 68, 5 or 0. */
  float points[136];   /* x0, y0, x1, y1, ...; what is beyond point_count is 0. 68: jaw 0-16, brows
                        * 17-26, nose 27-35, eyes 36-47, mouth 48-67. 5: centres of the eyes, tip of
                        * the nose, corners of the mouth, the left one first (of the upright face). */
  /* Details; NaN where they were not asked for or cannot be known. */
  float quality;  /* Of the points: 1 where the fits agree, towards 0 where they do not. */
  float roll;     /* Degrees that the head is turned clockwise in the picture, -180 to 180. */
  float yaw;      /* Degrees that it is turned towards the right of the picture, were it not for
                   * roll; -90 to 90. */
  float pitch;    /* Degrees that it is turned up, likewise; 0 as heads are held on average. */
  float left_eye; /* Openness of the eye on the left in the upright face: height over width. */
  float right_eye;
  float sharpness; /* Of the face's pixels, 0 to 1; comparable between sizes. */
} oznakit_face;
#define OZNAKIT_FACE_INIT \
  { sizeof(oznakit_face), 0, 0, 0, 0, 0, 0, 0, {0}, 0, 0, 0, 0, 0, 0, 0 }

/* A list of faces, best score first. */
typedef struct oznakit_faces oznakit_faces;

/* How many; 0 for null. */
OZNAKIT_EXPORT int32_t oznakit_faces_count(const oznakit_faces* faces);

/* Copies one face out. index: 0 to count - 1. face: its size says how much is written. */
OZNAKIT_EXPORT oznakit_status oznakit_faces_get(const oznakit_faces* faces, int32_t index,
                                                oznakit_face* face);

/* Frees a list; null is left alone. */
OZNAKIT_EXPORT void oznakit_faces_free(oznakit_faces* faces);

/* Finds the faces of a picture.
 *
 * options  Null for the defaults.
 * faces    Gets a list that the caller frees, empty where there is no face; null on failure.
 * Errors   OZNAKIT_BAD_ARGUMENT, OZNAKIT_CANCELLED, OZNAKIT_NO_MEMORY; OZNAKIT_NO_MODEL where the
 *          finder does not hold what is asked for.
 * Threads  Any number at once with one finder; each uses a detector of its own meanwhile.
 * Cost     Grows with the picture's pixels over those of the smallest face. */
OZNAKIT_EXPORT oznakit_status oznakit_finder_find(oznakit_finder* finder,
                                                  const oznakit_image* image,
                                                  const oznakit_search_options* options,
                                                  oznakit_faces** faces);

/* What a search of a picture would be, for a host that has not decoded its pixels yet. */
typedef struct oznakit_plan {
  size_t size; /* sizeof(oznakit_plan). */
  /* Searches of tiles and of the whole, for each of the turns; 0 for a picture so narrow that no
   * face can be found in it. */
  int32_t scans;
  int32_t working_width; /* The picture in pixels as it is when it is searched as a whole. */
  int32_t working_height;
  /* 0 where the first network can hold that. Else the search would fail, and a scan with this
   * min_face_fraction would be accepted. */
  float least_fraction;
  /* 8, 4, 2 or 1. A picture of which each side is divided by this, rounded up, shows the faces as
   * well: decoders of JPEG files make one in a fraction of the time. */
  int32_t reduction;
  /* Where reduction is above 1, what to search the reduced picture with, instead of preset, smallest
   * face, scan and margin. Faces are then in its pixels. */
  oznakit_scan scan;
  double margin;
} oznakit_plan;
#define OZNAKIT_PLAN_INIT \
  { sizeof(oznakit_plan), 0, 0, 0, 0, 1, OZNAKIT_SCAN_INIT, 0 }

/* Plans a search.
 *
 * width    Of the upright picture in pixels, 1 to 1000000; height likewise.
 * options  Null for the defaults. Points and details ask for larger faces than boxes do.
 * plan     Its size says how much is written.
 * Errors   OZNAKIT_BAD_ARGUMENT; OZNAKIT_NO_MODEL for a finder without OZNAKIT_DETECTION.
 * Threads  Any number at once. */
OZNAKIT_EXPORT oznakit_status oznakit_finder_plan(const oznakit_finder* finder, int32_t width,
                                                  int32_t height,
                                                  const oznakit_search_options* options,
                                                  oznakit_plan* plan);

/* Places landmarks in boxes that the host knows.
 *
 * boxes    4 * count numbers: left, top, right, bottom of each, finite, left below right and top
 *          below bottom, with at least a pixel of the picture.
 * turns    count numbers, quarter turns as in oznakit_face; null where all are upright.
 * with     Sum of OZNAKIT_WITH_...
 * faces    As of oznakit_finder_find, in the order of the boxes. One of which less than a quarter lies
 *          in the picture, one way or the other, has no points and no details.
 * Errors   As there. Threads as there. */
OZNAKIT_EXPORT oznakit_status oznakit_finder_align(oznakit_finder* finder,
                                                   const oznakit_image* image, const float* boxes,
                                                   const int32_t* turns, int32_t count,
                                                   int32_t with, oznakit_faces** faces);

/* ---- Chips ----------------------------------------------------------------------------------- */

#define OZNAKIT_BORDER_COLOUR 0 /* What lies outside of the picture gets one colour. */
#define OZNAKIT_BORDER_MIRROR 1 /* It shows the picture, mirrored at its edge. */

typedef struct oznakit_chip_options {
  size_t size;   /* sizeof(oznakit_chip_options). */
  int32_t width; /* Of the chip in pixels, 8 to 4096. */
  int32_t height;
  float padding;     /* Room on each side of the square from above the brows to the chin, as a share
                      * of that: -0.4 to 4. The square stands in the middle of the chip. */
  int32_t border;    /* OZNAKIT_BORDER_COLOUR or OZNAKIT_BORDER_MIRROR. */
  uint8_t colour[4]; /* Red, green, blue, alpha of the border. */
  int32_t format;    /* Of the chip's pixels. Alpha is 255 inside of the picture. */
} oznakit_chip_options;
#define OZNAKIT_CHIP_OPTIONS_INIT \
  { sizeof(oznakit_chip_options), 256, 256, 0, OZNAKIT_BORDER_COLOUR, {0, 0, 0, 255}, OZNAKIT_RGB }

/* Cuts an upright picture of one face.
 *
 * face       Its points, 5 or 68, decide; without points its box and turn do.
 * options    Null for the defaults.
 * pixels     Gets height rows of width pixels.
 * row_bytes  From a row to the one below; negative for bottom up, pixels then being the top row; 0
 *            for rows without gaps.
 * Errors     OZNAKIT_BAD_ARGUMENT, also where the points do not make a face; OZNAKIT_NO_MEMORY.
 * Threads    Any.
 * Cost       Grows with the area of the chip, and with that of the face where it is larger. */
OZNAKIT_EXPORT oznakit_status oznakit_chip(const oznakit_image* image, const oznakit_face* face,
                                           const oznakit_chip_options* options, void* pixels,
                                           ptrdiff_t row_bytes);

#ifdef __cplusplus
}
#endif

#endif /* OZNAKIT_H_ */
