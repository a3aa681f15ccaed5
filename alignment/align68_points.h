/// Placement of 68 landmarks: from a photograph and a rectangle to a window of fixed size, and
/// back.

#ifndef OZNA_ALIGNMENT_ALIGN68_POINTS_H_
#define OZNA_ALIGNMENT_ALIGN68_POINTS_H_

#include <opencv2/core.hpp>
#include <vector>

#include "alignment/general_unit.h"
#include "alignment/sdm_model.h"
#include "ozna.h"

namespace oznalib {

/// The pixels of a photograph that alignment looks at, and where the face lies in them.
struct AlignmentCut {
  cv::Rect region;        ///< In pixels of the photograph. May reach outside, or have no area.
  Rectangle<float> face;  ///< In pixels of the region, with the fraction that the cut drops.
  bool has_face = false;  ///< Otherwise the middle of the region stands in for the face.
  float crop_left = 0;    ///< Left edge of the region, with the fraction that the cut drops.
  float crop_top = 0;     ///< Top edge, likewise.
};

/// Plans the cut around a face: the face and half its size around, or the whole photograph where
/// the face covers half of its width and of its height. No pixels are needed.
///
/// size  Of the photograph; both sides above 0.
/// rect  As of cutAlignmentWindow.
AlignmentCut planAlignmentCut(const cv::Size& size, const Rectangle<float>& rect);

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

/// Makes the window from the pixels of the region alone.
///
/// pixels  8-bit, red, green, blue, of the region's size. Rows need not be continuous.
/// Errors  Pixels without area raise cv::Exception.
AlignmentWindow scaleAlignmentWindow(const cv::Mat& pixels, const AlignmentCut& cut);

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

/// Whether 68 landmarks can be placed with a model without leaving its buffers.
bool canPlace68(const SDMModel& model);

/// Landmarks and the fits that they are the median of.
struct Placement68 {
  std::vector<float> points;  ///< 136 floats in pixels of the photograph; empty without a result.
  std::vector<std::vector<float>> outcomes;  ///< Of the nine fits, each as points.
};

/// Places 68 landmarks in a window.
///
/// model    One that canPlace68.
/// Returns  The points of align68Points; nothing where the face box has no width or the window
///          would become larger than 4096 pixels on a side.
/// Errors   A window that becomes smaller than a pixel raises cv::Exception.
/// Threads  Any number at once on one model.
Placement68 placeInWindow(const SDMModel& model, const AlignmentWindow& window);

/// Places 68 landmarks with the model in the slot; see align68Points.
///
/// Returns  StatusOk always. points has 136 floats, all zero if there is no model, if it is not
///          usable or has fewer than 68 landmarks, or if the face box has no width.
Status placeLandmarks68(const Image& image, const Rectangle<float>& rect,
                        std::vector<float>& points);

}  // namespace oznalib

#endif  // OZNA_ALIGNMENT_ALIGN68_POINTS_H_
