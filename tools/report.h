/// The two forms of the program's results: a table for people and JSON lines for programs.

#ifndef OZNA_TOOLS_REPORT_H_
#define OZNA_TOOLS_REPORT_H_

#include <string>
#include <vector>

#include "tools/face.h"
#include "tools/photograph.h"

namespace oznatool {

/// One photograph as one line of JSON with its line break:
///   {"path":..,"width":..,"height":..,"faces":[{"left":..,"top":..,"right":..,"bottom":..,
///    "score":..,"points":[[x,y],..]},..]}
///
/// The keys stand in this order. "score" is absent for a rectangle that the user gave, "points"
/// where no landmarks were asked for. Numbers carry the digits that give back the same 32-bit
/// float; one that is not finite becomes null. Bytes of the path that are not UTF-8 become U+FFFD.
std::string jsonLine(const Photograph& photograph, const std::vector<Face>& faces);

/// One photograph as a heading, one row a face, and one row a landmark below its face. Rounded for
/// reading.
std::string table(const Photograph& photograph, const std::vector<Face>& faces);

}  // namespace oznatool

#endif  // OZNA_TOOLS_REPORT_H_
