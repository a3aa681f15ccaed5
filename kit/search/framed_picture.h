/// A picture with a border around it, read region by region.

#ifndef OZNA_KIT_SEARCH_FRAMED_PICTURE_H_
#define OZNA_KIT_SEARCH_FRAMED_PICTURE_H_

#include <opencv2/core/mat.hpp>

#include "kit/pixels/picture.h"
#include "kit/search/pixel_block.h"
#include "kit/search/work_progress.h"

namespace kit {

/// The border repeats the pixels of the edge.
class FramedPicture {
 public:
  /// picture  Must outlive this. border_px  0 for none.
  FramedPicture(const Picture& picture, int border_px) : picture_(picture), border_px_(border_px) {}

  /// With the border.
  cv::Size size() const;

  /// The pixels of a region in red, green, blue, copied band by band where they must be copied; the
  /// host is asked between bands.
  ///
  /// region  Inside the framed picture.
  /// block   Holds what is copied, and outlives the result.
  cv::Mat rgb(const cv::Rect& region, WorkProgress& progress, PixelBlock& block) const;

 private:
  const Picture& picture_;
  int border_px_;
};

/// Width of a border in pixels. margin  Share of the longer side.
int borderPixels(const cv::Size& picture, double margin);

/// Size of a picture with a border on every side.
cv::Size framedSize(const cv::Size& picture, int border_px);

}  // namespace kit

#endif  // OZNA_KIT_SEARCH_FRAMED_PICTURE_H_
