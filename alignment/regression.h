/// Supervised descent: moves starting shapes towards a face, stage by stage, each by a linear map
/// of descriptors.

#ifndef OZNA_ALIGNMENT_REGRESSION_H_
#define OZNA_ALIGNMENT_REGRESSION_H_

#include <opencv2/core.hpp>
#include <vector>

#include "alignment/general_unit.h"
#include "alignment/sdm_model.h"
#include "mp/matrix.h"
#include "mp/pca_map.h"

namespace oznalib {

/// Places a shape given in units of a box into that box: x' = width * x + box.x, y' = height * y +
/// box.y.
std::vector<float> boxShape(const std::vector<float>& unit_shape, const cv::Rect& box);

/// Surrounds an image with a black border: 40 percent of its columns, or as far as the deepest
/// point of the shape lies outside, whichever is more.
///
/// image    8-bit grey.
/// shape    In pixels of image.
/// padded   Shares the pixels of image if the border is 0, otherwise new and continuous.
/// Returns  Width of the border in pixels, the same on all four sides.
int padImage(const cv::Mat& image, const std::vector<float>& shape, cv::Mat& padded);

/// Moves a shape by one stage: shape += (features - mean) * projection + bias.
///
/// features  At least map.mean.cols floats.
/// bias      Used only if it has as many cells as the shape has numbers.
/// shape     At least map.projection.cols floats; changed in place.
/// Returns   The move without the bias, 1 by shape.size().
/// Errors    Sizes are not checked.
mp::matrix applyStage(const float* features, const mp::pca_map& map, const mp::matrix& bias,
                      std::vector<float>& shape);

/// Whether the sizes in a model fit each other, so that a regression stays within its buffers: an
/// even number of mean coordinates, at most 65536; maps that hold cells, from at most 64 features
/// per coordinate to at most as many moves as coordinates; levels that the pyramid has. A map of
/// fewer inputs takes the first features, one of fewer outputs moves the first coordinates.
bool isUsable(const SDMModel& model);

/// Runs each starting shape through all stages and returns the median outcome, coordinate by
/// coordinate.
///
/// image    8-bit grey, scaled so that the face box has the width that the model expects.
/// starts   Shapes of model.meanShape.size() floats, in pixels of image. The first one decides the
///          border.
/// ignored  Has no effect.
/// Returns  In pixels of image. Of an even number of outcomes, the upper median. Empty without
///          starts, with a model that is not usable, or where the border would exceed 4096 pixels.
/// Threads  Any number at once on one model.
/// Cost     One pyramid, then for each stage a descriptor for each landmark of each start and one
///          matrix product for all starts together.
/// Source   X. Xiong and F. De la Torre, Supervised descent method and its applications to face
///          alignment, 2013.
std::vector<float> regressShapes(const SDMModel& model, const cv::Mat& image,
                                 const std::vector<std::vector<float>>& starts,
                                 std::vector<float> ignored);

/// The outcome of each starting shape, of which regressShapes returns the median. Parameters and
/// errors as there.
///
/// Returns  As many shapes as starts, in pixels of image; none where regressShapes has no result.
std::vector<std::vector<float>> regressEach(const SDMModel& model, const cv::Mat& image,
                                            const std::vector<std::vector<float>>& starts);

/// Coordinate by coordinate the median of shapes of equal size, of which there is at least one. Of
/// an even number the upper one; NaN counts as the largest.
std::vector<float> medianShape(const std::vector<std::vector<float>>& shapes);

/// The nine shapes that a fit starts from: the mean shape in the box, then the mean shape moved by
/// a tenth of the box in each of eight directions (x from left to right outside, y from top to
/// bottom inside).
std::vector<std::vector<float>> startShapes(const std::vector<float>& mean_shape,
                                            const cv::Rect& box);

/// Fits a model to a unit: scales the unit, regresses nine starting shapes, and stores the result
/// in unit.shape.
///
/// unit      image and box must be set. image and box stay scaled afterwards, the shape is in
///           pixels of the image as it was given.
/// outcomes  If not null, gets the outcome of each start, in pixels of the image as it was given;
///           none where the result is empty.
/// Returns   A copy of unit.shape. Empty, with the unit untouched, where the model is not usable,
///           the box has no width, or the scaled image would exceed 4096 pixels on a side.
std::vector<float> fitShape(const SDMModel& model, SDMCore::GeneralUnit& unit,
                            std::vector<std::vector<float>>* outcomes = nullptr);

/// The same with the model in the slot; empty without a model.
std::vector<float> fitShape(SDMCore::GeneralUnit& unit);

}  // namespace oznalib

#endif  // OZNA_ALIGNMENT_REGRESSION_H_
