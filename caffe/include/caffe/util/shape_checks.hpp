/// Fatal checks that keep bad definitions and oversized inputs from reaching memory outside a blob.

#ifndef CAFFE_UTIL_SHAPE_CHECKS_HPP_
#define CAFFE_UTIL_SHAPE_CHECKS_HPP_

#include <cstdint>

#include "caffe/blob.hpp"

namespace caffe {

/// Fatal if a blob of this shape has more elements than its 32-bit count can hold. The sizes are
/// doubles, so that the caller may pass products of sizes. Negative sizes pass: Blob::Reshape is
/// the one that refuses them.
void CheckShapeFits(double num, double channels, double height, double width);

/// Fatal unless the stride is at least 1, the kernel and the padding are not negative and the
/// positions of a window on the padded image fit in an int.
void CheckWindow(int kernel_size, int pad, int stride, int height, int width);

/// Fatal if the values of the blob have room for fewer than count floats, or if count is negative.
/// The last line before the loops of a forward pass: an input that was resized beyond its size at
/// SetUp ends here.
void CheckHolds(const Blob<float>& blob, std::int64_t count);

/// Fatal if a parameter blob that the definition carried has fewer elements than the shape that
/// the layer expects. name: of the parameter, for the message. Only the count matters, since
/// layers read parameters as flat arrays.
void CheckParameterHolds(const Blob<float>& blob, int num, int channels, int height, int width,
                         const char* name);

}  // namespace caffe

#endif  // CAFFE_UTIL_SHAPE_CHECKS_HPP_
