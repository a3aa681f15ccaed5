// Help texts, put together from lines that commands share.

#include "tools/help.h"

namespace oznatool {
namespace {

const char* const kProgram =
    R"(Usage: ozna COMMAND [OPTION]... [PHOTO]...
Finds faces in photographs and places landmarks on them.

  detect    prints the faces of photographs
  align     prints the faces with 68 or 5 landmarks
  annotate  draws faces and landmarks into copies of the photographs
  crop      writes an upright picture of each face
  models    tells which models are used, with sizes, checksums and licences
  info      tells version, instruction set, libraries and defaults
  bench     times your own photographs

ozna COMMAND --help tells the options of a command, man ozna everything.
ozna --version prints the version.

Photographs are JPEG, PNG, TIFF, WebP, HEIC, AVIF, BMP, JPEG 2000 or PNM files.
Standard output holds data only; messages go to standard error.

Exit status: 0 done, 1 some photographs failed, 2 wrong arguments,
             3 model missing or damaged, 4 output not written, 5 no memory or
             another limit of the machine, 130 interrupted;
             with --quiet: 0 a face was found, 1 none, 2 error.
)";

const char* const kList =
    R"(  -r, --recursive        folders stand for the photographs in and below them
  -0, --null             names on standard input end in NUL, as of find -print0
)";

const char* const kRun =
    R"(      --format F         text, json or csv (text); --json is --format json
      --safe-cells       csv: no name begins as a formula of a spreadsheet does
  -q, --quiet            no data: exit 0 if a face is found, 1 if none, 2 error
  -j, --jobs N|auto      photographs at once (auto)
      --progress WHEN    auto, always or never (auto)
      --resume FILE      leave out what this former JSON or CSV output has
      --shard I/N        only share I of N of the photographs
)";

const char* const kMemory =
    R"(      --memory MIB       memory for photographs (2048, or half of all)
)";

const char* const kSearch =
    R"(      --preset P         fast, balanced or thorough (balanced)
      --min-face N|P%    smallest face: pixels, or percent of the longer side
      --margin P         border in percent, for faces that fill the photograph
)";

const char* const kChoice =
    R"(      --biggest, --best  one face: the largest, or the one of the best score
)";

const char* const kXmp =
    R"(      --xmp DIR          write sidecar files with face regions
)";

const char* const kAnnotateOption =
    R"(      --annotate OUT     draw into this file or directory
)";

const char* const kModels =
    R"(      --models DIR       directory of the models
)";

const char* const kExpert =
    R"(Scan: --max-upscale X --max-image-side PX --min-face-fraction X
      --pyramid-levels N --pyramid-factor X --window-size PX     (see man ozna)
)";

const char* const kFormat =
    R"(      --format F         text or json (text); --json is --format json
)";

std::string usage(const std::string& command, const std::string& purpose) {
  return "Usage: ozna " + command +
         " [OPTION]... PHOTO...   (- reads names from standard input)\n" + purpose + "\n\n";
}

}  // namespace

std::string helpText(const std::string& command) {
  if (command == "detect") {
    return usage(command, "Prints the faces of photographs, a record a photograph.") + kList +
           kRun + kMemory + kSearch + kChoice + kAnnotateOption + kXmp + kModels + kExpert;
  }
  if (command == "align") {
    return usage(command, "Prints the faces of photographs with their landmarks.") +
           "      --points N         landmarks a face, 68 or 5 (68)\n"
           "      --box L,T,R,B      align this rectangle alone: its edges in pixels\n" +
           kList + kRun + kMemory + kSearch + kChoice + kAnnotateOption + kXmp + kModels + kExpert;
  }
  if (command == "annotate") {
    return usage(command, "Draws faces and landmarks into copies of the photographs.") +
           "  -o, --output OUT       file, or directory for several; needed\n"
           "      --points N         landmarks a face, 68, 5 or 0 (68)\n" +
           kList + kRun + kMemory + kSearch + kChoice + kXmp + kModels + kExpert;
  }
  if (command == "crop") {
    return usage(command,
                 "Writes a square, upright picture of each face, aligned by 5 landmarks.") +
           "  -o, --output DIR       directory of the pictures; needed\n"
           "      --size N           their side in pixels, 16 to 4096 (256)\n" +
           kList + kRun + kMemory + kSearch + kChoice + kXmp + kModels + kExpert;
  }
  if (command == "models") {
    return std::string("Usage: ozna models [OPTION]...\n") +
           "Tells which model files are used, with sizes, checksums and licences.\n\n" + kFormat +
           kModels;
  }
  if (command == "info") {
    return std::string("Usage: ozna info [OPTION]...\n") +
           "Tells version, instruction set, libraries, and every default with its source.\n\n" +
           kFormat + kModels;
  }
  if (command == "bench") {
    return usage(command, "Times the work on photographs, with the share of each stage.") +
           "      --rounds N         times each photograph is worked on, 1 to 1000 (3)\n"
           "      --points N         landmarks a face, 68, 5 or 0 (68)\n" +
           kList + kFormat + kMemory + kSearch + kModels + kExpert;
  }
  return kProgram;
}

}  // namespace oznatool
