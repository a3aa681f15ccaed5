/// Groups of landmarks that are solved for together, and how much the ridge of a stage weighs on
/// the descriptors of landmarks far from a group.

#ifndef OZNA_TRAINING_ALIGNMENT_LOCALITY_H_
#define OZNA_TRAINING_ALIGNMENT_LOCALITY_H_

#include <vector>

#include "training/alignment/shapes.h"

namespace alignment_training {

using LandmarkGroup = std::vector<int>;

/// The parts of a face, each landmark in one of them.
const std::vector<LandmarkGroup>& landmarkParts();

/// For each landmark, how many times the ridge weighs on its descriptor where the moves of `part`
/// are learnt: 1 + (d / reach)^2, with d its distance in `mean_shape` from the nearest landmark of
/// the part. Both d and the reach are in distances of the outer eye corners. What would be above 40
/// is infinite, so that descriptors which hardly count take no time. All are 1 where the reach is 0,
/// which stands for no preference.
std::vector<float> ridgeFactors(const LandmarkGroup& part, const Shape& mean_shape, float reach);

}  // namespace alignment_training

#endif  // OZNA_TRAINING_ALIGNMENT_LOCALITY_H_
