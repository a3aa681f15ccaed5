/// A landmark model from the bytes of its file, checked to the last number.

#ifndef OZNA_KIT_MODELS_LANDMARK_MODEL_H_
#define OZNA_KIT_MODELS_LANDMARK_MODEL_H_

#include <memory>
#include <string>
#include <string_view>

#include "alignment/sdm_model.h"
#include "kit/models/model_file.h"

namespace kit {

/// Reads a model of 68 landmarks.
///
/// The file is little-endian without gaps: a count and matrices that nothing uses; a count and a
/// bias row for each stage, or none at all; a count and the mean shape; a count and unused numbers;
/// a count and a map (mean and projection) for each stage; a count and the level of each stage; two
/// unused words; blur levels; face width. A matrix is rows and columns as 64-bit integers and then
/// its 32-bit floats.
///
/// name     Of the file, for messages.
/// file     At its beginning.
/// Returns  A model with which an alignment stays within its buffers and within some hundred
///          megabytes.
/// Errors   Error with OZNAKIT_BAD_MODEL that says what was expected and what was found, and at
///          which byte; what ModelFile::read throws; std::bad_alloc.
/// Cost     Reads each number once, into the model, and looks at it there.
std::unique_ptr<const oznalib::SDMModel> readLandmarkModel(const std::string& name,
                                                           ModelFile& file);

/// As above, from the whole content.
std::unique_ptr<const oznalib::SDMModel> readLandmarkModel(const std::string& name,
                                                           std::string_view bytes);

}  // namespace kit

#endif  // OZNA_KIT_MODELS_LANDMARK_MODEL_H_
