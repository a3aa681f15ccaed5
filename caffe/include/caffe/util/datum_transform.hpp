/// From the record of one image to the values of one slot of a batch, for the data layers.

#ifndef CAFFE_UTIL_DATUM_TRANSFORM_HPP_
#define CAFFE_UTIL_DATUM_TRANSFORM_HPP_

#include <functional>

#include "caffe/proto/caffe.pb.h"

namespace caffe {

/// What happens to every record of a data layer.
struct DatumTransform {
  int channels;       // Shape that every record must have.
  int height;         // Above crop_size.
  int width;          // Above crop_size.
  float scale;        // Factor on value minus mean.
  int crop_size;      // Side of the square cut out of the image; 0 takes the whole image.
  bool mirror;        // Whether a draw decides on reversing the rows. Needs a crop.
  bool random_crop;   // Whether draws place the crop; it stands in the middle otherwise.
  const float* mean;  // (channels, height, width), subtracted before the scale.
};

/// The number of values of one record, channels * height * width, none negative. A product beyond
/// 32 bits is fatal.
int DatumSize(int channels, int height, int width);

/// Writes (channels, crop_size, crop_size), or (channels, height, width) without a crop.
///
/// draw    The next 32 random bits: first for the row of the crop, then for its column, then for
///         the mirror, each only where it is wanted.
/// Errors  A record of another shape than the transform's, or with fewer values than its shape
///         needs, is fatal; so is a crop of a record that holds floats.
void TransformDatum(const Datum& datum, const DatumTransform& transform,
                    const std::function<unsigned int()>& draw, float* output);

}  // namespace caffe

#endif  // CAFFE_UTIL_DATUM_TRANSFORM_HPP_
