/// Trains a whole landmark model, stage after stage, with checkpoints.

#ifndef OZNA_TRAINING_ALIGNMENT_MODEL_TRAINER_H_
#define OZNA_TRAINING_ALIGNMENT_MODEL_TRAINER_H_

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "alignment/sdm_model.h"
#include "training/alignment/stage_trainer.h"

namespace alignment_training {

struct ModelOptions {
  std::vector<int> stage_levels{3, 2, 1, 0, 0};  // Pyramid level of each stage.
  int levels_per_octave = 3;
  int face_width = 80;        // Pixels; that of the samples.
  int starts_per_sample = 3;  // Of the nine.
  std::uint64_t seed = 1;
  StageOptions stage;
  // stage.error_knee and stage.reach of each stage; the last repeats.
  std::vector<float> error_knees{0.2F, 0.12F, 0.08F, 0.05F, 0.03F};
  std::vector<float> reaches{0.0F, 0.6F, 0.3F, 0.2F, 0.15F};
  std::string checkpoint_folder;  // Empty for none; otherwise it exists.
};

/// Errors before the first stage or after one, as shares of the outer eye distance.
struct StageErrors {
  double train_manual = 0;  // Means of all rows, out of fold.
  double train_tracked = 0;
  double dev_manual = 0;  // Means of the medians of nine starts.
  double dev_tracked = 0;
};

struct TrainedModel {
  oznalib::SDMModel model;
  // Before the first stage, after those of a checkpoint, and after each that was trained. The last
  // have dev errors of the model, whose last stage is moved to where photographs have their points.
  std::vector<StageErrors> errors;
};

/// Trains on `train` and reports on `dev`, which takes no part in anything that is learnt or chosen
/// here; it may be empty.
///
/// Checkpoints  After each stage the model so far (stage-N.sdm) and the rows' shapes (shapes.bin).
///              A run in the same folder continues after the last stage that it finds; use a fresh
///              folder for other data or options (a wrong number of rows is noticed, no more).
/// Memory       8704 bytes per row, the samples, and what trainStage takes.
TrainedModel trainModel(const std::vector<AlignmentSample>& train,
                        const std::vector<AlignmentSample>& dev, const ModelOptions& options,
                        std::ostream& log);

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_MODEL_TRAINER_H_
