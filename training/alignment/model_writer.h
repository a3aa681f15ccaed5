/// Writes landmark models as files that the library loads.

#ifndef OZNA_TRAINING_ALIGNMENT_MODEL_WRITER_H_
#define OZNA_TRAINING_ALIGNMENT_MODEL_WRITER_H_

#include <string>

#include "alignment/sdm_model.h"

namespace alignment_training {

/// Writes a model in the form that SDMModel describes, first beside the path and then in its place,
/// so that an interrupted write leaves an earlier file whole. Throws std::runtime_error.
void writeModel(const oznalib::SDMModel& model, const std::string& path);

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_MODEL_WRITER_H_
