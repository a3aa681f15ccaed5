/// Placement of 68 landmarks: from a photograph and a rectangle to a window of fixed size, and
/// back.

#ifndef OZNA_ALIGNMENT_ALIGN68_POINTS_H_
#define OZNA_ALIGNMENT_ALIGN68_POINTS_H_

#include <opencv2/core.hpp>
#include <vector>

#include "alignment/general_unit.h"
#include "ozna.h"

namespace oznalib {

/// The part of a photograph that alignment works on, scaled to 250 by 250 pixels.
///
/// A point (x, y) of the photograph lies at ((x - crop_left) * scale_x, (y - crop_top) * scale_y)
/// in the window.
struct AlignmentWindow {
  cv::Mat image;  ///< 250 by 250, 8-bit, red, green, blue. Shares the photograph's pixels if that
                  ///< is its size.
  cv::Rect box;  ///< Face box in pixels of image: the rectangle, widened and pushed down. May reach
                 ///< outside.
  float scale_x = 1;    ///< Pixels of image in one column of the photograph.
  float scale_y = 1;    ///< Pixels of image in one row of the photograph.
  float crop_left = 0;  ///< Left edge of the window in the photograph, with the fraction that the
                        ///< cut itself drops.
  float crop_top = 0;   ///< Top edge, likewise.
};

/// Cuts the window around a face and derives the face box that the regression is trained on.
///
/// image   Rows are packed at 3 * width bytes; stride is ignored.
/// rect    In pixels of image. If left is not below right, or a number is not finite, the middle of
///         the whole image stands in.
/// Errors  A window without area (the rectangle lies outside, or has no height) raises
///         cv::Exception.
AlignmentWindow cutAlignmentWindow(const Image& image, const Rectangle<float>& rect);

/// The unit to regress on: the window in grey, with its face box.
SDMCore::GeneralUnit makeGreyUnit(const AlignmentWindow& window);

/// Maps landmarks from pixels of the window to pixels of the photograph.
///
/// in_window  x0, y0, x1, y1, ...; at least count floats.
/// count      Floats to map, even.
/// points     Resized to count.
void mapToPhotograph(const AlignmentWindow& window, const std::vector<float>& in_window, int count,
                     std::vector<float>& points);

/// Maps points the other way, from pixels of the photograph to pixels of the window.
std::vector<float> mapToWindow(const AlignmentWindow& window, const std::vector<float>& points);

/// Places 68 landmarks with the model in the slot; see align68Points.
///
/// Returns  StatusOk always. points has 136 floats, all zero if there is no model, if it is not
///          usable or has fewer than 68 landmarks, or if the face box has no width.
Status placeLandmarks68(const Image& image, const Rectangle<float>& rect,
                        std::vector<float>& points);

}  // namespace oznalib

#endif  // OZNA_ALIGNMENT_ALIGN68_POINTS_H_
