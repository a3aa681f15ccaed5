/// Maps of the plane that turn, scale and move.

#ifndef OZNA_KIT_FACES_SIMILARITY_H_
#define OZNA_KIT_FACES_SIMILARITY_H_

#include <opencv2/core/types.hpp>
#include <vector>

namespace kit {

/// (x, y) -> (a x - b y + tx, b x + a y + ty). Nothing is mirrored.
struct Similarity {
  double a, b, tx, ty;
  cv::Point2d operator()(const cv::Point2d& p) const {
    return {a * p.x - b * p.y + tx, b * p.x + a * p.y + ty};
  }
};

/// The map that takes one set of points to another with the least sum of squared distances.
///
/// from, to  Of equal number, at least one. Where all points of from are one, the result is a
///           shift.
/// Source    S. Umeyama, Least-squares estimation of transformation parameters between two point
///           patterns, 1991; in the plane it comes down to one complex division.
Similarity fitSimilarity(const std::vector<cv::Point2d>& from, const std::vector<cv::Point2d>& to);

/// The way back. The scale must not be 0.
Similarity inverse(const Similarity& map);

}  // namespace kit

#endif  // OZNA_KIT_FACES_SIMILARITY_H_
