/// Face regions as photo managers read them: the region schema of the Metadata Working Group, in
/// XMP.

#ifndef OZNA_TOOLS_OUTPUT_XMP_REGIONS_H_
#define OZNA_TOOLS_OUTPUT_XMP_REGIONS_H_

#include <string>

#include "tools/output/record.h"

namespace oznatool {

/// A sidecar file with the faces of a photograph.
///
/// Regions are of type Face. Their areas lie in the frame of the photograph as it is stored, not as
/// it is turned upright, are cut to it, and are given by centre and size as fractions of its sides;
/// AppliedToDimensions are the sides as stored, in pixels. A face without area inside the
/// photograph has no region.
///
/// Each region of ours says its area a second time, in a namespace of ours. A region counts as ours
/// as long as both agree and nothing else was added: one that a user named, moved or described is
/// theirs.
///
/// former   What the sidecar file held before, or an empty text. Its bytes stay as they are but for
///          our regions, which are exchanged. A face that a face region of others shows already
///          gets none of ours: the centre of each lies in the other.
/// Returns  The text of the file.
/// Errors   std::runtime_error with a reason where former is not XMP, has regions in a form that is
///          not understood, or has regions of others for a photograph of another size, which have
///          another frame.
/// Source   Metadata Working Group, Guidelines for handling image metadata, version 2.0, 2010.
std::string xmpWithRegions(const Record& record, const std::string& former);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_XMP_REGIONS_H_
