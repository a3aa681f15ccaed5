/// A landmark model from the bytes of its file, checked to the last number.

#ifndef OZNA_KIT_MODELS_LANDMARK_MODEL_H_
#define OZNA_KIT_MODELS_LANDMARK_MODEL_H_

#include <memory>
#include <string>

#include "alignment/sdm_model.h"

namespace kit {

/// Reads a model of 68 landmarks.
///
/// The file is little-endian without gaps: a count and matrices that nothing uses; a count and a
/// bias row for each stage, or none at all; a count and the mean shape; a count and unused numbers; a
/// count and a map (mean and projection) for each stage; a count and the level of each stage; two
/// unused words; blur levels; face width. A matrix is rows and columns as 64-bit integers and then
/// its 32-bit floats.
///
/// name     Of the file, for messages.
/// bytes    Its whole content.
/// Returns  A model with which an alignment stays within its buffers and within some hundred
///          megabytes.
/// Errors   Error with OZNAKIT_BAD_MODEL that says what was expected and what was found, and at which
///          byte; std::bad_alloc.
/// Cost     Looks at each number once; twice the file's size in memory.
std::unique_ptr<const oznalib::SDMModel> readLandmarkModel(const std::string& name,
                                                           const std::string& bytes);

}  // namespace kit

#endif  // OZNA_KIT_MODELS_LANDMARK_MODEL_H_
