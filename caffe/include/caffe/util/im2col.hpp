/// Unfolding of images into columns and its transpose, for convolution as a matrix product.

#ifndef CAFFE_UTIL_IM2COL_HPP_
#define CAFFE_UTIL_IM2COL_HPP_

namespace caffe {

/// Number of places of a window along one axis. The division cuts towards zero, so an incomplete
/// last window is dropped, and a window that overhangs the image by less than one stride still has
/// one place.
inline int im2col_output_size(int size, int ksize, int pad, int stride) {
  return (size + 2 * pad - ksize) / stride + 1;
}

/// Writes, for each channel and kernel position (one row each, kernel row before kernel column),
/// the values that the position meets over all output places.
///
/// data_im   (channels, height, width).
/// data_col  (channels * ksize * ksize, H', W'), the sizes by im2col_output_size. Places outside
///           the image read as 0. Every element is written, unless channels or ksize is 0: then
///           nothing happens.
/// Cost      One write per element, nearly all of them by block copies.
void im2col_cpu(const float* data_im, int channels, int height, int width, int ksize, int pad,
                int stride, float* data_col);

/// Writes the columns of the rows [first_row, first_row + rows) of output places alone, as if they
/// were all: data_col is (channels * ksize * ksize, rows, W'). The rows lie within H', and ksize is
/// at least 1.
void im2col_band(const float* data_im, int channels, int height, int width, int ksize, int pad,
                 int stride, int first_row, int rows, float* data_col);

/// The transpose: sets data_im to zero, then adds each element of data_col to the place that
/// im2col_cpu read.
void col2im_cpu(const float* data_col, int channels, int height, int width, int ksize, int pad,
                int stride, float* data_im);

}  // namespace caffe

#endif  // CAFFE_UTIL_IM2COL_HPP_
