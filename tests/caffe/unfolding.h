/// The sizes of an image and a window, and what the columns of its unfolding hold by definition.

#ifndef OZNA_TESTS_CAFFE_UNFOLDING_H_
#define OZNA_TESTS_CAFFE_UNFOLDING_H_

#include <string>
#include <vector>

namespace caffe_test {

struct Unfolding {
  int channels, height, width, ksize, pad, stride;

  int out_height() const { return (height + 2 * pad - ksize) / stride + 1; }
  int out_width() const { return (width + 2 * pad - ksize) / stride + 1; }
  int image_count() const { return channels * height * width; }
  int column_count() const { return channels * ksize * ksize * out_height() * out_width(); }
  std::string text() const {
    return "channels " + std::to_string(channels) + " height " + std::to_string(height) +
           " width " + std::to_string(width) + " ksize " + std::to_string(ksize) + " pad " +
           std::to_string(pad) + " stride " + std::to_string(stride);
  }

  /// Index into the image of each element of the columns, -1 for the padding, by definition.
  std::vector<int> Sources() const {
    std::vector<int> sources;
    for (int row = 0; row < channels * ksize * ksize; ++row) {
      const int channel = row / ksize / ksize;
      const int kernel_row = (row / ksize) % ksize;
      const int kernel_col = row % ksize;
      for (int h = 0; h < out_height(); ++h) {
        for (int w = 0; w < out_width(); ++w) {
          const int y = h * stride - pad + kernel_row;
          const int x = w * stride - pad + kernel_col;
          const bool inside = y >= 0 && y < height && x >= 0 && x < width;
          sources.push_back(inside ? (channel * height + y) * width + x : -1);
        }
      }
    }
    return sources;
  }
};

}  // namespace caffe_test

#endif  // OZNA_TESTS_CAFFE_UNFOLDING_H_
