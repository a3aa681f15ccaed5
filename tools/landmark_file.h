/// Looks over a landmark model file before the library reads it, since the library does not.

#ifndef OZNA_TOOLS_LANDMARK_FILE_H_
#define OZNA_TOOLS_LANDMARK_FILE_H_

#include <string>

namespace oznatool {

/// Directory and name of the landmark model under the directory of the models.
extern const char* const kLandmarkDirectory;
extern const char* const kLandmarkName;

/// Tests that the file is complete and that the sizes in it fit 68 landmarks and one another.
///
/// The file is little-endian without gaps: a count and matrices that nothing uses; a count and a
/// bias row for each stage; a count and the mean shape; a count and unused numbers; a count and a
/// map (mean and projection) for each stage; a count and the level of each stage; two unused words;
/// blur levels; face width. A matrix is rows and columns as 64-bit integers and then its 32-bit
/// floats. Learned numbers are passed over, not read.
///
/// Errors  Failure with kExitModel; its message begins with the path.
void checkLandmarkFile(const std::string& path);

}  // namespace oznatool

#endif  // OZNA_TOOLS_LANDMARK_FILE_H_
