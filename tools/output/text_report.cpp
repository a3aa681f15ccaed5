// Records as a table for reading.

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "tools/output/report.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

__attribute__((format(printf, 1, 2))) std::string printed(const char* format, ...) {
  char
      text[160];  // Six numbers of a float's range fit: the largest has 40 digits before the point.
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof(text), format, arguments);
  va_end(arguments);
  return text;
}

}  // namespace

std::string table(const Record& record, bool lists_points) {
  if (record.failure) {
    return printable(record.path) + "  failed: " + printable(record.failure->reason()) + "\n";
  }
  const std::vector<Face>& faces = record.faces;
  std::string text =
      printable(record.path) + printed("  %d x %d  %zu %s\n", record.size.width, record.size.height,
                                       faces.size(), faces.size() == 1 ? "face" : "faces");
  if (!faces.empty()) {
    text += printed("%6s %9s %9s %9s %9s %8s\n", "face", "left", "top", "right", "bottom", "score");
  }
  for (std::size_t i = 0; i < faces.size(); ++i) {
    const Face& face = faces[i];
    text += printed("%6zu %9.1f %9.1f %9.1f %9.1f", i + 1, face.rect.left, face.rect.top,
                    face.rect.right, face.rect.bottom);
    text += face.score ? printed(" %8.4f", *face.score) : printed(" %8s", "-");
    text += face.chip.empty() ? "\n" : "  " + printable(face.chip) + "\n";
    if (face.details) {
      const FaceDetails& details = *face.details;
      text +=
          printed("%16s %.2f  roll %.0f  yaw %.0f  pitch %.0f  eyes %.2f %.2f  sharpness %.2f\n",
                  "quality", details.quality, details.roll, details.yaw, details.pitch,
                  details.left_eye, details.right_eye, details.sharpness);
    }
    for (std::size_t p = 0; lists_points && p + 1 < face.points.size(); p += 2) {
      text +=
          printed("%16s %2zu %9.2f %9.2f\n", "point", p / 2, face.points[p], face.points[p + 1]);
    }
  }
  return text;
}

}  // namespace oznatool
