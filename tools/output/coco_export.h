/// The faces of a run as one document in the form of COCO, for those who train detectors.

#ifndef OZNA_TOOLS_OUTPUT_COCO_EXPORT_H_
#define OZNA_TOOLS_OUTPUT_COCO_EXPORT_H_

#include <cstddef>
#include <string>

#include "tools/output/record.h"

namespace oznatool {

/// Gathers records; the document can be written when all are known.
///
/// Memory  About 150 bytes per photograph and per face, and 30 per landmark.
class CocoExport {
 public:
  /// Adds a photograph with its faces; one that failed has no place in the form. Boxes are cut to
  /// the photograph; one outside of it is left out.
  void add(const Record& record);

  /// {"info":..,"images":[..],"annotations":[..],"categories":[{"id":1,"name":"face",..}]}, one
  /// line per entry. Images and annotations are numbered from 1 in the order of the inputs.
  ///
  /// Source  T. Lin et al., Microsoft COCO: Common Objects in Context, 2014; its format of data.
  std::string text() const;

 private:
  std::string images_;
  std::string annotations_;
  std::size_t image_count_ = 0;
  std::size_t annotation_count_ = 0;
  std::size_t point_count_ = 0;  // Landmarks per face.
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_COCO_EXPORT_H_
