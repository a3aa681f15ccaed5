// Unfolding of images into columns and its transpose.

#include "caffe/util/im2col.hpp"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace caffe {
namespace {

using std::size_t;

// Planes of up to this many floats are copied from their neighbours, which are then still in the
// nearest cache. Larger ones are read from the image again, since the image is smaller than the
// planes in between.
constexpr std::size_t kCachedPlaneFloats = 16 * 1024;

// One image plane and the places of a window on it. A band of rows of places is an unfolding of its
// own, with less padding above: none, or less than that, where it begins further down.
struct Unfolding {
  int height, width;          // Of the image.
  int out_height, out_width;  // Number of places.
  int pad_top, pad_left, stride;

  std::size_t plane() const { return static_cast<std::size_t>(out_height) * out_width; }
};

Unfolding MakeUnfolding(int height, int width, int ksize, int pad, int stride) {
  return {height,
          width,
          im2col_output_size(height, ksize, pad, stride),
          im2col_output_size(width, ksize, pad, stride),
          pad,
          pad,
          stride};
}

// A half-open range of places.
struct Places {
  int begin, end;
};

// First place p, at most places, with p * stride + offset >= bound.
int FirstPlaceAtOrBehind(int bound, int offset, int stride, int places) {
  const int distance = bound - offset;
  return distance <= 0 ? 0 : std::min(places, (distance - 1) / stride + 1);
}

// The places whose source coordinate, place * stride + offset, lies in [0, size).
Places PlacesInside(int size, int offset, int stride, int places) {
  return {FirstPlaceAtOrBehind(0, offset, stride, places),
          FirstPlaceAtOrBehind(size, offset, stride, places)};
}

template <int kStride>
void CopyEvery(const float* src, int n, float* dst) {
  for (int i = 0; i < n; ++i) dst[i] = src[i * kStride];
}

void CopyStrided(const float* src, int stride, int n, float* dst) {
  switch (stride) {
    case 1:
      std::memcpy(dst, src, n * sizeof(float));
      return;
    case 2:
      return CopyEvery<2>(src, n, dst);
    case 3:
      return CopyEvery<3>(src, n, dst);
    default:
      for (int i = 0; i < n; ++i) dst[i] = src[static_cast<std::size_t>(i) * stride];
  }
}

// Writes row h of the plane of one kernel position. offset_x: source column of place 0.
void GatherRow(const float* image, const Unfolding& u, int source_row, int offset_x,
               const Places& inside, float* dst) {
  if (source_row < 0 || source_row >= u.height || inside.begin >= inside.end) {
    std::fill_n(dst, u.out_width, 0.0F);
    return;
  }
  const float* src = image + static_cast<std::size_t>(source_row) * u.width;
  std::fill(dst, dst + inside.begin, 0.0F);
  CopyStrided(src + inside.begin * u.stride + offset_x, u.stride, inside.end - inside.begin,
              dst + inside.begin);
  std::fill(dst + inside.end, dst + u.out_width, 0.0F);
}

void GatherPlane(const float* image, const Unfolding& u, int kernel_row, int kernel_col,
                 int first_row, float* dst) {
  const int offset_x = kernel_col - u.pad_left;
  const Places inside = PlacesInside(u.width, offset_x, u.stride, u.out_width);
  for (int h = first_row; h < u.out_height; ++h) {
    GatherRow(image, u, h * u.stride - u.pad_top + kernel_row, offset_x, inside,
              dst + static_cast<std::size_t>(h) * u.out_width);
  }
}

// Writes a plane from that of the kernel position one stride to the left: what it met at place w +
// 1 is met here at place w. Only the last column is new.
void ShiftPlaneLeft(const float* image, const Unfolding& u, int kernel_row, int kernel_col,
                    const float* left, float* dst) {
  std::memcpy(dst, left + 1, (u.plane() - 1) * sizeof(float));
  const int source_col = (u.out_width - 1) * u.stride - u.pad_left + kernel_col;
  const bool column_inside = source_col >= 0 && source_col < u.width;
  for (int h = 0; h < u.out_height; ++h) {
    const int source_row = h * u.stride - u.pad_top + kernel_row;
    const bool inside = column_inside && source_row >= 0 && source_row < u.height;
    dst[static_cast<std::size_t>(h) * u.out_width + u.out_width - 1] =
        inside ? image[static_cast<std::size_t>(source_row) * u.width + source_col] : 0.0F;
  }
}

// Writes a plane from that of the kernel position one stride above: rows move up by one, only the
// last is new.
void ShiftPlaneUp(const float* image, const Unfolding& u, int kernel_row, int kernel_col,
                  const float* above, float* dst) {
  std::memcpy(dst, above + u.out_width, (u.plane() - u.out_width) * sizeof(float));
  GatherPlane(image, u, kernel_row, kernel_col, u.out_height - 1, dst);
}

void UnfoldChannel(const float* image, const Unfolding& u, int ksize, float* columns) {
  const std::size_t plane = u.plane();
  const bool cached = plane <= kCachedPlaneFloats;
  for (int row = 0; row < ksize; ++row) {
    for (int col = 0; col < ksize; ++col) {
      float* dst = columns + (static_cast<std::size_t>(row) * ksize + col) * plane;
      if (cached && row >= u.stride) {
        ShiftPlaneUp(image, u, row, col, dst - static_cast<std::size_t>(u.stride) * ksize * plane,
                     dst);
      } else if (cached && col >= u.stride) {
        ShiftPlaneLeft(image, u, row, col, dst - u.stride * plane, dst);
      } else {
        GatherPlane(image, u, row, col, /*first_row=*/0, dst);
      }
    }
  }
}

// Adds the plane of one kernel position back to the places that it was read from.
void ScatterPlane(const float* columns, const Unfolding& u, int kernel_row, int kernel_col,
                  float* image) {
  const int offset_x = kernel_col - u.pad_left;
  const Places inside = PlacesInside(u.width, offset_x, u.stride, u.out_width);
  for (int h = 0; h < u.out_height; ++h) {
    const int target_row = h * u.stride - u.pad_top + kernel_row;
    if (target_row < 0 || target_row >= u.height) continue;
    const float* src = columns + static_cast<std::size_t>(h) * u.out_width;
    for (int w = inside.begin; w < inside.end; ++w) {
      image[static_cast<std::size_t>(target_row) * u.width + w * u.stride + offset_x] += src[w];
    }
  }
}

}  // namespace

void im2col_cpu(const float* data_im, int channels, int height, int width, int ksize, int pad,
                int stride, float* data_col) {
  if (channels < 1 || ksize < 1) return;
  im2col_band(data_im, channels, height, width, ksize, pad, stride, /*first_row=*/0,
              im2col_output_size(height, ksize, pad, stride), data_col);
}

void im2col_band(const float* data_im, int channels, int height, int width, int ksize, int pad,
                 int stride, int first_row, int rows, float* data_col) {
  Unfolding u = MakeUnfolding(height, width, ksize, pad, stride);
  u.out_height = rows;
  u.pad_top -= first_row * stride;
  if (u.out_height < 1 || u.out_width < 1) return;
  const std::size_t image = static_cast<std::size_t>(height) * width;
  for (int c = 0; c < channels; ++c) {
    UnfoldChannel(data_im + c * image, u, ksize,
                  data_col + static_cast<std::size_t>(c) * ksize * ksize * u.plane());
  }
}

void col2im_cpu(const float* data_col, int channels, int height, int width, int ksize, int pad,
                int stride, float* data_im) {
  const std::size_t image = static_cast<std::size_t>(height) * width;
  std::memset(data_im, 0, channels * image * sizeof(float));
  if (ksize < 1) return;
  const Unfolding u = MakeUnfolding(height, width, ksize, pad, stride);
  if (u.out_height < 1 || u.out_width < 1) return;
  for (int c = 0; c < channels; ++c) {
    for (int k = 0; k < ksize * ksize; ++k) {
      ScatterPlane(data_col + (static_cast<std::size_t>(c) * ksize * ksize + k) * u.plane(), u,
                   k / ksize, k % ksize, data_im + c * image);
    }
  }
}

}  // namespace caffe
