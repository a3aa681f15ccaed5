/// Labels as the losses read them: floats in a blob, each the index of a class.

#ifndef CAFFE_UTIL_LABELS_HPP_
#define CAFFE_UTIL_LABELS_HPP_

#include "caffe/blob.hpp"
#include "caffe/common.hpp"

namespace caffe {

/// The least probability whose logarithm is taken, so that a loss stays finite.
constexpr float kLogThreshold = 1e-20F;

/// The label of an image, truncated towards zero. Fatal if the blob holds fewer labels or the label
/// is not one of the dim values that it points into, which includes NaN.
template <typename Dtype>
int LabelAt(const Blob<Dtype>& labels, int image, int dim) {
  CHECK_LT(image, labels.count()) << "Fewer labels than images.";
  // In double, which holds every int: as a float, a large dim could round up and let itself pass.
  const double label = labels.cpu_data()[image];
  CHECK(label > -1 && label < dim) << "Label " << label << " is outside of [0, " << dim << ")";
  return static_cast<int>(label);
}

}  // namespace caffe

#endif  // CAFFE_UTIL_LABELS_HPP_
