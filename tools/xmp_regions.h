/// Face regions as photo managers read them: the region schema of the Metadata Working Group, in
/// XMP.

#ifndef OZNA_TOOLS_XMP_REGIONS_H_
#define OZNA_TOOLS_XMP_REGIONS_H_

#include <string>

#include "tools/record.h"

namespace oznatool {

/// A sidecar file with the faces of a photograph.
///
/// Regions are of type Face. Their areas lie in the frame of the photograph as it is stored, not as
/// it is turned upright, are cut to it, and are given by centre and size as fractions of its sides;
/// AppliedToDimensions are the sides as stored, in pixels. A face without area inside the
/// photograph has no region.
///
/// former   What the sidecar file held before, or an empty text. All of it but the regions is kept.
/// Returns  The text of the file.
/// Errors   std::runtime_error where former is no XMP, or holds a region that bears a name: the
///          work of its user is not thrown away.
/// Source   Metadata Working Group, Guidelines for handling image metadata, version 2.0, 2010.
std::string xmpWithRegions(const Record& record, const std::string& former);

}  // namespace oznatool

#endif  // OZNA_TOOLS_XMP_REGIONS_H_
