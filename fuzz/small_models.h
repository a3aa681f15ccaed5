/// Models of a few hundred bytes, with which fuzz targets begin.

#ifndef OZNA_FUZZ_SMALL_MODELS_H_
#define OZNA_FUZZ_SMALL_MODELS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace ozna_fuzz {

/// The files of a model directory of two stages and a calibration, in the order of
/// kDirectoryNames.
constexpr int kDirectoryFiles = 10;
using Directory = std::array<std::string, kDirectoryFiles>;

/// Paths below the root of the models.
extern const std::array<const char*, kDirectoryFiles> kDirectoryNames;

/// Whether the file is the definition of a network, in text.
bool IsDefinition(int file);

/// A cascade that searches 24 by 24 pixels with windows of 6 and finds some noise to be a face.
Directory SmallDirectory();

/// A directory as one input: the length of each file in 16 bits, the lower byte first, and its
/// bytes. What is cut short ends in an empty file; what lies behind the last is dropped.
std::string PackDirectory(const Directory& directory);
Directory UnpackDirectory(const std::uint8_t* data, std::size_t size);

/// Writes the files below root, which ends in a separator.
void WriteDirectory(const Directory& directory, const std::string& root);

/// A landmark model that moves points by maps of few inputs; faces are face_width pixels wide.
std::string SmallLandmarkModel(int landmarks, int stages, int face_width);

}  // namespace ozna_fuzz

#endif  // OZNA_FUZZ_SMALL_MODELS_H_
