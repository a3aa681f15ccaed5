/// Ordering, thresholding and non-maximum suppression of candidate lists.
///
/// Common to all of them: NaN scores are put last, equal scores keep the order of
/// the list, and an empty list gives an empty list. No state, any number of threads.

#ifndef OZNA_DETECTOR_SUPPRESSION_H_
#define OZNA_DETECTOR_SUPPRESSION_H_

#include "detector/face_candidate.h"

namespace oznalib {

/// Orders a list by descending score, in place.
void sortByScore(CandidateList& list);

/// Drops every candidate whose score is not strictly above the threshold. Order is kept.
void keepAboveThreshold(CandidateList& list, float threshold);

// The suppressions below are greedy, best score first: a box is kept unless it overlaps a box that
// was kept before. They end at the first score below the floor, and an overlap of exactly the limit
// does not count. Cost: quadratic in the number of boxes kept.

/// Overlap is intersection over union. The result is in descending order of score.
CandidateList suppressUnion(const CandidateList& list, float floor, float limit);

/// suppressUnion on each group of boxes of one width by itself, the groups in the order in which
/// their widths appear in the list. Between stages: the boxes of one pyramid level share a width,
/// so that most pairs need no test.
CandidateList suppressBySize(const CandidateList& list, float floor, float limit);

/// Overlap is the intersection over the smaller of the two areas, so that a small box inside a
/// large one goes, however little of their union it covers. Descending order of score.
CandidateList suppressContained(const CandidateList& list, float floor, float limit);

}  // namespace oznalib

#endif  // OZNA_DETECTOR_SUPPRESSION_H_
