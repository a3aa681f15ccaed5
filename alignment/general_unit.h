/// One grey face image with its face box and the shape that is fitted to it.

#ifndef OZNA_ALIGNMENT_GENERAL_UNIT_H_
#define OZNA_ALIGNMENT_GENERAL_UNIT_H_

#include <opencv2/core.hpp>
#include <vector>

namespace SDMCore {

/// What a regression needs of the image that it works on.
class TrainUnit {
 public:
  virtual ~TrainUnit() = default;

  virtual void normalize(int width) = 0;
  virtual void rescale(int width) = 0;
  virtual void scaleBox() = 0;
  virtual void unscaleShapes() = 0;
};

/// The only kind of unit. Shapes are x0, y0, x1, y1, ... in pixels of image, 0 at the centre of the
/// first pixel.
class GeneralUnit : public TrainUnit {
 public:
  void normalize(int width) override;  ///< Same as rescale.

  /// Scales image (bilinear), box and shapes so that the box becomes width pixels wide.
  ///
  /// Precondition  box.width is not 0.
  /// Errors        A scaled image without area raises cv::Exception.
  void rescale(int width) override;

  /// Multiplies the four numbers of box by scale; each is cut towards zero.
  void scaleBox() override;

  /// Divides the shapes by scale, and so undoes what rescale did to the coordinates.
  void unscaleShapes() override;

  cv::Mat image;                  ///< 8-bit grey.
  cv::Rect box;                   ///< Face box in pixels of image.
  std::vector<float> startShape;  ///< Scaled along with shape; stays empty in alignment.
  float scale = 0;                ///< Applied by the last rescale.
  std::vector<float> shape;       ///< The result.
};

}  // namespace SDMCore

#endif  // OZNA_ALIGNMENT_GENERAL_UNIT_H_
