// Help texts, put together from lines that commands share.

#include "tools/arguments/help.h"

namespace oznatool {
namespace {

const char* const kProgram =
    R"(Usage: ozna COMMAND [OPTION]... [PHOTO]...
Finds faces in photographs and places landmarks on them.

  detect    prints the faces of photographs
  align     prints the faces with 68 or 5 landmarks
  annotate  draws faces and landmarks into copies of the photographs
  crop      writes an upright picture of each face
  report    writes a page with all photographs and faces, to look at
  models    shows which models are used, with sizes, checksums and licences
  info      shows version, instruction set, libraries and defaults
  bench     times your own photographs

ozna help COMMAND lists the options of a command; man ozna has it all.
ozna PHOTO is ozna detect PHOTO; ozna --version (-V) prints the version.

Photographs are JPEG, PNG, TIFF, WebP, HEIC, AVIF, GIF, BMP, JPEG 2000, PNM or
raw files (DNG, CR2, CR3, NEF, ARW, RAF, ORF, RW2).
Standard output holds data only; messages go to standard error.

Exit status: 0 done, 1 some photographs failed, 2 wrong arguments,
             3 model missing or damaged, 4 output not written, 5 no memory or
             another limit of the machine, 130 or 143 interrupted;
             with --quiet: 0 a face was found, 1 none, 2 error.
)";

const char* const kList =
    R"(
Inputs
  -r, --recursive        folders stand for the photographs in and below them
  -0, --null             names on standard input end in NUL, as of find -print0
  -i, --input FILE       a photograph; - for a picture on standard input
)";

const char* const kRun =
    R"(
Output
      --format F         text, json, csv or coco; --json is --format json
  -l, --with-faces       only the names of photographs with faces
  -L, --without-faces    only the names of photographs without
      --safe-cells       csv: no name begins as a formula of a spreadsheet does
  -q, --quiet            no data: exit 0 if a face is found, 1 if none, 2 error
  -j, --jobs N|auto      photographs at once (auto)
      --progress WHEN    auto, always or never (auto)
      --strict           a photograph that is cut short fails
      --overwrite        replace files of results
      --skip-existing    leave out photographs whose files are there
      --resume FILE      leave out what this previous JSON or CSV output has
      --shard I/N        only share I of N of the photographs
)";

const char* const kMemory =
    R"(      --memory MIB       memory for photographs (2048, or half of all)
)";

const char* const kSearch =
    R"(
Search
      --preset P         fast, balanced or thorough (balanced)
      --min-face N|P%    smallest face: pixels, or percent of the longer side
      --margin P         border in percent, for faces that fill the photograph
      --turns 4          also faces that lie on their side or upside down
)";

const char* const kChoice =
    R"(      --biggest, --best  one face: the largest, or the one of the best score
      --min-score S      leave out faces of a lower score, from 0 to 1
      --details          quality of landmarks, pose, eyes and sharpness
)";

const char* const kXmp =
    R"(      --xmp DIR          write sidecar files with face regions
      --xmp-name N       full for photo.jpg.xmp, stem for photo.xmp (full)
      --embed            write face regions into JPEG and PNG files
)";

const char* const kAnnotateOption =
    R"(      --annotate OUT     draw into this file or directory
)";

const char* const kModels =
    R"(      --models DIR       directory of the models
)";

const char* const kExpert =
    R"(
Scan: --max-upscale X --max-image-side PX --min-face-fraction X
      --pyramid-levels N --pyramid-factor X --window-size PX     (see man ozna)
)";

const char* const kFormat =
    R"(      --format F         text or json (text); --json is --format json
)";

std::string usage(const std::string& command, const std::string& purpose) {
  return "Usage: ozna " + command +
         " [OPTION]... PHOTO...   (- reads names from standard input)\n" + purpose + "\n";
}

}  // namespace

std::string helpText(const std::string& command) {
  if (command == "detect") {
    return usage(command, "Prints the faces of photographs, one record per photograph.") + kList +
           kMemory + kRun + kAnnotateOption + kXmp + kSearch + kChoice + kModels + kExpert;
  }
  if (command == "align") {
    return usage(command, "Prints the faces of photographs with their landmarks.") +
           "\n      --points N         68 or 5 landmarks per face (68); in text if given\n"
           "      --box L,T,R,B      align this rectangle alone: its edges in pixels\n" +
           kList + kMemory + kRun + kAnnotateOption + kXmp + kSearch + kChoice + kModels + kExpert;
  }
  if (command == "annotate") {
    return usage(command, "Draws faces and landmarks into copies of the photographs.") +
           "\n  -o, --output OUT       file, directory for several, - for standard output\n"
           "      --points N         landmarks per face, 68, 5 or 0 (68)\n" +
           kList + kMemory + kRun + kXmp + kSearch + kChoice + kModels + kExpert;
  }
  if (command == "crop") {
    return usage(command,
                 "Writes a square, upright picture of each face, aligned by 5 landmarks.") +
           "\n  -o, --output DIR       directory of the pictures; needed\n"
           "      --size N           their side in pixels, 16 to 4096 (256)\n" +
           kList + kMemory + kRun + kXmp + kSearch + kChoice + kModels + kExpert;
  }
  if (command == "report") {
    return usage(command, "Writes one page with all photographs and faces, for a browser.") +
           "\n  -o, --output FILE      the page, as report.html; needed\n" + kList + kMemory +
           kRun + kXmp + kSearch + kChoice + kModels + kExpert;
  }
  if (command == "models") {
    return std::string("Usage: ozna models [OPTION]...\n") +
           "Shows which model files are used, with sizes, checksums and licences.\n\n" + kFormat +
           kModels;
  }
  if (command == "info") {
    return std::string("Usage: ozna info [OPTION]...\n") +
           "Shows version, instruction set, libraries, and every default with its source.\n\n" +
           kFormat + kModels;
  }
  if (command == "bench") {
    return usage(command, "Times the work on photographs, with the share of each stage.") +
           "\n      --rounds N         times each photograph is worked on, 1 to 1000 (3)\n"
           "      --points N         landmarks per face, 68, 5 or 0 (68)\n" +
           kList + kMemory + "\nOutput\n" + kFormat + kSearch + kModels + kExpert;
  }
  return kProgram;
}

}  // namespace oznatool
