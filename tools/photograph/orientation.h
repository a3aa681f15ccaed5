/// The orientation of a stored photograph: the eight ways in which a camera may have been held.

#ifndef OZNA_TOOLS_PHOTOGRAPH_ORIENTATION_H_
#define OZNA_TOOLS_PHOTOGRAPH_ORIENTATION_H_

#include <opencv2/core/mat.hpp>

#include "oznakit.hpp"

namespace oznatool {

/// Orientations are numbered 1 to 8 as in the Exif tag 0x0112: the number says where the stored
/// first row and first column belong. 1 is upright.
constexpr int kUpright = 1;

/// Whether the sides of the stored and of the upright photograph are exchanged: 5 to 8.
bool exchangesSides(int orientation);

/// Whether columns, and rows, run the other way in the upright photograph, sides already exchanged.
bool mirrorsColumns(int orientation);
bool mirrorsRows(int orientation);

/// Turns stored pixels upright.
///
/// Cost: one pass; in place for 1 to 4, with a second image of the same size for 5 to 8.
void turnUpright(cv::Mat& pixels, int orientation);

/// Where a rectangle of the upright photograph lies in the stored one.
///
/// upright  Size of the upright photograph, in the unit of the rectangle.
oznakit::Box inStoredFrame(const oznakit::Box& rect, const cv::Size2f& upright, int orientation);

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_ORIENTATION_H_
