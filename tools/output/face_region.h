/// One region of a photograph in XMP, as text and as it is read.

#ifndef OZNA_TOOLS_OUTPUT_FACE_REGION_H_
#define OZNA_TOOLS_OUTPUT_FACE_REGION_H_

#include <opencv2/core/types.hpp>
#include <optional>
#include <string>

#include "tools/output/xml_tree.h"

namespace oznatool {

inline const std::string kRegionSpace = "http://www.metadataworkinggroup.com/schemas/regions/";

/// An area by its centre and sides, as fractions of the photograph's sides.
struct RegionArea {
  double x, y, w, h;
};

/// The item of a list of regions for a face: its type, its area, and the area once more as our
/// mark. Declares the namespaces that it uses.
std::string regionItem(const RegionArea& area);

/// The property with the sides of the photograph, in pixels as stored. Declares its namespaces.
std::string dimensionsProperty(const cv::Size& stored);

/// What is known of an item of a list of regions.
struct RegionFacts {
  bool is_ours = false;            ///< As regionItem writes it, in whatever form of RDF.
  bool is_face = false;            ///< Of type Face.
  std::optional<RegionArea> area;  ///< Where it has one in fractions.
};
RegionFacts factsOf(const XmlElement& item);

/// Whether a text has the namespace of our mark anywhere.
bool hasOurMark(const std::string& text);

/// The sides in a property of dimensions; nothing where it does not say them in pixels.
std::optional<cv::Size> dimensionsIn(const XmlElement& property);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_FACE_REGION_H_
