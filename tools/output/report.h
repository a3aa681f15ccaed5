/// The forms of the program's results: a table for people, JSON lines and CSV for programs.

#ifndef OZNA_TOOLS_OUTPUT_REPORT_H_
#define OZNA_TOOLS_OUTPUT_REPORT_H_

#include <string>

#include "tools/output/record.h"

namespace oznatool {

/// The version of the JSON form and of the CSV columns. Raised when a key or column changes its
/// meaning or goes; new keys alone do not raise it.
constexpr int kSchemaVersion = 1;

/// One record as one line of JSON with its line break:
///   {"schema":1,"path":..,"bytes":..,"modified":..,"width":..,"height":..,"orientation":..,
///    "faces":[{"left":..,"top":..,"right":..,"bottom":..,"score":..,"points":[[x,y],..],"chip":..},..],"warnings":[..]}
/// or, where the photograph could not be looked at,
///   {"schema":1,"path":..,"bytes":..,"modified":..,"error":{"kind":..,"message":..}}
///
/// The keys stand in this order. "score" is absent for a rectangle that the user gave, "points"
/// and "chip" where none were asked for, "warnings" where there are none, "bytes" and "modified"
/// where the input is not a regular file. Numbers carry the digits that give back the same 32-bit
/// float; one that is not finite becomes null. Bytes of a path that are not UTF-8 become U+FFFD,
/// and all of its bytes stand in hexadecimal in a key "path_hex" ("chip_hex") behind it. Characters
/// that a terminal would obey are escaped.
///
/// tells_turn  Whether each face has the key "turn" behind its score.
std::string jsonLine(const Record& record, bool tells_turn = false);

/// The columns that CSV has behind the usual ones.
struct CsvColumns {
  int points = 0;        ///< Landmarks per face: each has two columns.
  bool turn = false;     ///< One.
  bool details = false;  ///< Those of kDetailNames.
};

/// One record as CSV rows: one per face, or a single one for a photograph without faces or one that
/// could not be looked at. Numbers as in JSON.
///
/// safe_cells  Whether names are written as safeCell (csv.h) gives them.
std::string csvRows(const Record& record, const CsvColumns& columns, bool safe_cells);

/// The heading of the CSV columns, with its line break.
std::string csvHeading(const CsvColumns& columns);

/// One record as a heading and one row per face. Rounded for reading.
///
/// lists_points  Whether the landmarks of a face stand below it, one per row.
std::string table(const Record& record, bool lists_points);

/// Of kWithFaces and kWithoutFaces, a record is the name of a photograph with, or without, faces.
enum class Format { kText, kJson, kCsv, kCoco, kWithFaces, kWithoutFaces, kNothing };

/// How a run writes its records.
struct ReportOptions {
  Format format = Format::kText;
  CsvColumns columns;         ///< What the user asked to know of a face beside box and score.
  bool safe_cells = false;    ///< CSV: no name begins as a formula does.
  bool lists_points = false;  ///< Text: the landmarks stand below their face.
};

/// One record in the form that the user chose. Where that is names alone, those of photographs that
/// failed are in neither list.
std::string formatted(const Record& record, const ReportOptions& options);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_REPORT_H_
