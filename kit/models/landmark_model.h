/// A landmark model from the bytes of its file, checked to the last number.

#ifndef OZNA_KIT_MODELS_LANDMARK_MODEL_H_
#define OZNA_KIT_MODELS_LANDMARK_MODEL_H_

#include <memory>
#include <string>

#include "alignment/sdm_model.h"

namespace kit {

/// name     Of the file, for messages.
/// bytes    Its whole content.
/// Returns  A model with which an alignment of 68 points stays within its buffers.
/// Errors   Error with OZNAKIT_BAD_MODEL that says what was expected and what was found.
std::unique_ptr<const oznalib::SDMModel> readLandmarkModel(const std::string& name,
                                                           const std::string& bytes);

}  // namespace kit

#endif  // OZNA_KIT_MODELS_LANDMARK_MODEL_H_
