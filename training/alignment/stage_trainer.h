/// Learns the linear map of one stage from all rows, with cross-fitting.

#ifndef OZNA_TRAINING_ALIGNMENT_STAGE_TRAINER_H_
#define OZNA_TRAINING_ALIGNMENT_STAGE_TRAINER_H_

#include <ostream>
#include <vector>

#include "mp/matrix.h"
#include "mp/pca_map.h"
#include "training/alignment/regression_rows.h"

namespace alignment_training {

struct StageOptions {
  std::vector<double> ridges{0.7};  // Candidates, in units of the mean diagonal.
  float manual_weight = 2;          // How much a face placed by hand counts beside a tracked one.
  // If above 0, a row whose error before the stage is e counts knee / (knee + e): least squares
  // then come close to least distances, and rows that went astray, which the median of nine starts
  // outvotes in use, do not pull at the map. As a share of the outer eye distance.
  float error_knee = 0;
  // If above 0, the ridge weighs more on the descriptors of landmarks far from those that are to
  // move: see ridgeFactors. In distances of the outer eye corners.
  float reach = 0;
  int folds = 3;          // 1 for none.
  int batch_rows = 2048;  // Rows in one rank-k update.
  int threads = 2;        // For the conversion of rows; BLAS has its own.
};

/// What a stage gave.
struct TrainedStage {
  mp::pca_map map;   // Mean feature and projection.
  mp::matrix bias;   // Mean move.
  double ridge = 0;  // The candidate that was taken.
};

/// Trains a stage on described rows and moves rows.shapes by it.
///
/// The move of a face's rows comes from a map that was trained without that face: faces are dealt
/// out to `folds` folds, and the sums of a fold are taken away from the total before solving. So
/// the next stage sees errors like those on faces that were never seen, not the smaller ones of
/// faces that were learnt by heart. The stage's own map is solved from all rows. Of several ridges
/// the one with the least error on the first fold is taken, so no outside data take part in the
/// choice.
///
/// Memory  (folds + 2) * 308 MB, and batch_rows * 35 KB.
/// Throws  std::runtime_error where a ridge is too small.
TrainedStage trainStage(const std::vector<AlignmentSample>& samples, const StageOptions& options,
                        RegressionRows& rows, std::ostream& log);

/// Moves described rows by a stage.
void applyTrainedStage(const TrainedStage& stage, const StageOptions& options,
                       RegressionRows& rows);

/// The mean of what is left to move of the rows whose photographs stand as they are, weighted as
/// trainStage weighs them; zeros where all are mirrored.
///
/// Annotated points do not lie mirror-symmetrically: by hand they are a percent of the outer eye
/// distance to the right of where the mirrored photographs have them, tracked ones two and a half.
/// Maps that learn from both end between them, half of that off on a photograph as it stands.
std::vector<float> meanPlainMove(const std::vector<AlignmentSample>& samples,
                                 const StageOptions& options, const RegressionRows& rows);

/// Mean normalised error of all rows whose sample is manual or not, or 0 where there are none.
double meanRowError(const std::vector<AlignmentSample>& samples, const RegressionRows& rows,
                    bool manual);

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_STAGE_TRAINER_H_
