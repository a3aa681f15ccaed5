/// The search that the networks are trained for, and that finds the boxes which landmarks are
/// trained from.

#ifndef OZNA_TRAINING_COMMON_SEARCH_H_
#define OZNA_TRAINING_COMMON_SEARCH_H_

#include "ozna.h"

namespace training {

/// The defaults of the program: faces from a twentieth of the longer side up, in a working image
/// that the first network takes.
constexpr oznalib::CascadeParameter kSearch{
    /*maxUpscale=*/2.0F,       /*maxImageSide=*/640,
    /*minFaceFraction=*/0.05F, /*pyramidLevels=*/12,
    /*pyramidFactor=*/1.26F,   /*windowSize=*/13};

}  // namespace training

#endif  // OZNA_TRAINING_COMMON_SEARCH_H_
