/// Coordinates in a picture and in the same one turned by quarters.

#ifndef OZNA_KIT_PIXELS_QUARTER_TURNS_H_
#define OZNA_KIT_PIXELS_QUARTER_TURNS_H_

#include <opencv2/core/types.hpp>

#include "ozna.h"

namespace kit {

/// Where a rectangle lies in the picture that is turned clockwise. Edges.
///
/// size   Of the picture before the turn.
/// turns  Quarter turns of any number and sign.
oznalib::Rectangle<float> turnedRect(const oznalib::Rectangle<float>& rect, const cv::Size& size,
                                     int turns);

/// Where a rectangle of the turned picture lies in the picture before the turn, size being that of
/// the latter.
oznalib::Rectangle<float> unturnedRect(const oznalib::Rectangle<float>& rect, const cv::Size& size,
                                       int turns);

/// The same for a point; coordinates are 0 at the centre of the first pixel.
cv::Point2f unturnedPoint(const cv::Point2f& point, const cv::Size& size, int turns);

}  // namespace kit

#endif  // OZNA_KIT_PIXELS_QUARTER_TURNS_H_
