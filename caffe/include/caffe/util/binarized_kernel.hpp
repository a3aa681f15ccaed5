/// BinarizedKernel: the table step of the binarized forward path, which nothing drives.

#ifndef CAFFE_UTIL_BINARIZED_KERNEL_HPP_
#define CAFFE_UTIL_BINARIZED_KERNEL_HPP_

#include <cstdint>

namespace caffe {

/// A convolution by table lookup: a 16-bit code per place, a table per colour channel.
///
/// The step is inert. No code computes the codes from the input, and the planes that are looked up
/// are not the planes that are summed; see AddLookups. It is kept for its shape alone.
/// Owners   All pointers are borrowed.
struct BinarizedKernel {
  static constexpr int kColours = 3;
  static constexpr int kCodeArrays = 3;
  static constexpr int kTableFloats = 512;
  static constexpr int kScratchPlanes = 6;

  struct Colour {
    std::uint16_t* codes[kCodeArrays];  // Each (height - 2) * (width - 2) codes at least.
    float table[kTableFloats];
  };

  int height, width;  // Of the input.
  int row_length;     // Floats that one lookup copies.
  int output_height;  // output_height * output_width lookups per plane.
  int output_width;
  int plane_length;  // Of an output plane, in floats.
  int plane_stride;  // Between two scratch planes, in floats.
  Colour colours[kColours];
  float* scratch;  // kScratchPlanes planes.

  /// Looks up one row of the table per code into scratch planes 3 to 5, one plane per colour, and
  /// adds the sum of scratch planes 0 to 2 to output: planes 0 and 1 overwrite it, plane 2 is
  /// added.
  ///
  /// input   the image, read by nothing. output  plane_length floats.
  /// Errors  A code whose row ends past the table is fatal.
  void AddLookups(const float* input, float* output);
};

}  // namespace caffe

#endif  // CAFFE_UTIL_BINARIZED_KERNEL_HPP_
