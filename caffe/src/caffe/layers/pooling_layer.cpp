// PoolingLayer: the maximum or the average of square windows.
//
// The loops run over all cells of an output row at once, one source row of their windows after the
// other: the compiler vectorises over cells, while each cell still meets its values in row-major
// order. That order decides which of 0 and -0 a maximum is, and how a sum is rounded.

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <vector>

#include "caffe/util/shape_checks.hpp"
#include "caffe/util/wide_loops.hpp"
#include "caffe/vision_layers.hpp"

namespace caffe {
namespace {

// ----------------------------------------------------------------------------
// Windows along an axis.

// Rounds up, where a convolution cuts: the two differ on purpose.
int PooledSize(int size, int kernel_size, int pad, int stride) {
  const float steps = static_cast<float>(size + 2 * pad - kernel_size) / static_cast<float>(stride);
  return static_cast<int>(std::ceil(steps)) + 1;
}

// What one window covers along one axis: [begin, end) within the image, and its length with the
// padding in between counted.
struct Window {
  int begin, end;
  int padded_length;
};

Window WindowAt(int cell, int kernel_size, int stride, int pad, int size) {
  const int begin = cell * stride - pad;
  const int end = std::min(begin + kernel_size, size + pad);
  return {std::max(begin, 0), std::min(end, size), end - begin};
}

// The size of a window. A large stride leads far past the image, where the lengths are negative
// and their product takes more than 32 bits.
float Area(int padded_height, int padded_width) {
  return static_cast<float>(std::int64_t{padded_height} * padded_width);
}

// The cells [begin, end) whose windows lie wholly inside the image along the columns.
struct Cells {
  int begin, end;
};

Cells CellsInside(int cells, int kernel_size, int stride, int pad, int size) {
  if (size < kernel_size) return {0, 0};
  const int first = (pad + stride - 1) / stride;
  const int last = (size - kernel_size + pad) / stride;  // Inclusive.
  const int begin = std::min(first, cells);
  return {begin, std::max(begin, std::min(last + 1, cells))};
}

// ----------------------------------------------------------------------------
// Pooling of any size, a row of cells at a time.

struct Max {
  static float Start() { return -FLT_MAX; }
  // Only a strictly greater value replaces: NaN and later equals do not.
  static float Take(float cell, float value) { return value > cell ? value : cell; }
};

struct Sum {
  static float Start() { return 0.0F; }
  static float Take(float cell, float value) { return cell + value; }
};

// Windows of 3 by 3 at a stride of 2 in one pass: with sizes that are known the loads vectorise and
// a cell stays in a register.
template <typename Operation>
void Pool3x3Stride2(const float* src, int width, int cells, float* __restrict dst) {
  RunWide([=]() OZNA_WIDE_LOOP {
    const float* rows[3] = {src, src + width, src + 2 * static_cast<std::int64_t>(width)};
    for (int i = 0; i < cells; ++i) {
      float cell = Operation::Start();
      for (const float* row : rows) {
        cell = Operation::Take(cell, row[2 * i]);
        cell = Operation::Take(cell, row[2 * i + 1]);
        cell = Operation::Take(cell, row[2 * i + 2]);
      }
      dst[i] = cell;
    }
  });
}

// Pools the cells inside. src: first value of the first cell's window, row rows.begin.
template <typename Operation>
void PoolInside(const PoolingLayer<float>& layer, const float* src, int row_count, int cells,
                float* dst) {
  if (layer.kernel_size_ == 3 && layer.stride_ == 2 && row_count == 3) {
    Pool3x3Stride2<Operation>(src, layer.width_, cells, dst);
    return;
  }
  std::fill_n(dst, cells, Operation::Start());
  for (int row = 0; row < row_count; ++row, src += layer.width_) {
    for (int k = 0; k < layer.kernel_size_; ++k) {
      for (int i = 0; i < cells; ++i) {
        dst[i] = Operation::Take(dst[i], src[std::int64_t{i} * layer.stride_ + k]);
      }
    }
  }
}

template <typename Operation>
float PoolWindow(const float* plane, int width, const Window& rows, const Window& cols) {
  float cell = Operation::Start();
  for (int h = rows.begin; h < rows.end; ++h) {
    for (int w = cols.begin; w < cols.end; ++w) {
      cell = Operation::Take(cell, plane[std::int64_t{h} * width + w]);
    }
  }
  return cell;
}

// Pools the rows [rows.begin, rows.end) of one plane into one row of cells.
template <typename Operation>
void PoolRow(const PoolingLayer<float>& layer, const float* plane, const Window& rows,
             const Cells& inside, float* dst) {
  const auto pool_clipped = [&](int cell) {
    const Window cols = WindowAt(cell, layer.kernel_size_, layer.stride_, layer.pad_, layer.width_);
    dst[cell] = PoolWindow<Operation>(plane, layer.width_, rows, cols);
  };
  for (int cell = 0; cell < inside.begin; ++cell) pool_clipped(cell);
  if (inside.begin < inside.end) {
    const std::int64_t first =
        std::int64_t{rows.begin} * layer.width_ + inside.begin * layer.stride_ - layer.pad_;
    PoolInside<Operation>(layer, plane + first, rows.end - rows.begin, inside.end - inside.begin,
                          dst + inside.begin);
  }
  for (int cell = inside.end; cell < layer.pooled_width_; ++cell) pool_clipped(cell);
}

// Divides a row of sums by the sizes of their windows. A window of size 0 divides by 0.
void DivideByWindowSizes(const PoolingLayer<float>& layer, const Window& rows, const Cells& inside,
                         float* dst) {
  const float inside_size = Area(rows.padded_length, layer.kernel_size_);
  const auto divide_clipped = [&](int cell) {
    const Window window =
        WindowAt(cell, layer.kernel_size_, layer.stride_, layer.pad_, layer.width_);
    dst[cell] /= Area(rows.padded_length, window.padded_length);
  };
  for (int cell = 0; cell < inside.begin; ++cell) divide_clipped(cell);
  for (int cell = inside.begin; cell < inside.end; ++cell) dst[cell] /= inside_size;
  for (int cell = inside.end; cell < layer.pooled_width_; ++cell) divide_clipped(cell);
}

// Calls pool(source plane, window rows, cells inside, destination row) for each row of all planes.
template <typename PoolOneRow>
void ForEachRow(const PoolingLayer<float>& layer, int planes, const float* input, float* output,
                const PoolOneRow& pool) {
  const std::int64_t plane = std::int64_t{layer.height_} * layer.width_;
  const Cells inside =
      CellsInside(layer.pooled_width_, layer.kernel_size_, layer.stride_, layer.pad_, layer.width_);
  for (int p = 0; p < planes; ++p) {
    for (int ph = 0; ph < layer.pooled_height_; ++ph, output += layer.pooled_width_) {
      const Window rows =
          WindowAt(ph, layer.kernel_size_, layer.stride_, layer.pad_, layer.height_);
      pool(input + p * plane, rows, inside, output);
    }
  }
}

// ----------------------------------------------------------------------------
// Maxima at a stride of 2, which the detector's networks have.

// The maxima of kKernel values from every second one on, the first of equals.
template <int kKernel>
OZNA_WIDE_LOOP inline void MaxAlongRow(const float* __restrict row, int cells,
                                       float* __restrict maxima) {
  for (int i = 0; i < cells; ++i) {
    float cell = Max::Start();
    for (int k = 0; k < kKernel; ++k) cell = Max::Take(cell, row[2 * i + k]);
    maxima[i] = cell;
  }
}

// Pools the block of rows by cells windows of kKernel by kKernel, 2 or 3, at a stride of 2, all of
// them inside the plane. The maximum of the rows' maxima is the maximum in row-major order, so
// that a row that two windows share is read once.
template <int kKernel>
void MaxStride2(const float* src, int width, int rows, int cells, float* dst, int pooled_width) {
  constexpr int kBlock = 64;
  RunWide([=]() OZNA_WIDE_LOOP {
    const std::int64_t step = width;
    for (int begin = 0; begin < cells; begin += kBlock) {
      const int size = std::min(kBlock, cells - begin);
      const float* row = src + 2 * begin;
      float shared[kBlock];  // Of the row above, which the windows before and after share.
      if (kKernel == 3) MaxAlongRow<kKernel>(row, size, shared);
      for (int r = 0; r < rows; ++r, row += 2 * step) {
        float first[kBlock], second[kBlock];
        MaxAlongRow<kKernel>(kKernel == 3 ? row + step : row, size, first);
        MaxAlongRow<kKernel>(kKernel == 3 ? row + 2 * step : row + step, size, second);
        float* cell = dst + std::int64_t{r} * pooled_width + begin;
        for (int i = 0; i < size; ++i) {
          cell[i] = kKernel == 3 ? Max::Take(Max::Take(shared[i], first[i]), second[i])
                                 : Max::Take(first[i], second[i]);
          if (kKernel == 3) shared[i] = second[i];
        }
      }
    }
  });
}

// Pools the rest of a plane whose first rows by cells windows are done.
void MaxRest(const PoolingLayer<float>& layer, const float* plane, int rows, int cells,
             float* dst) {
  for (int ph = 0; ph < layer.pooled_height_; ++ph) {
    const Window window =
        WindowAt(ph, layer.kernel_size_, layer.stride_, layer.pad_, layer.height_);
    for (int pw = ph < rows ? cells : 0; pw < layer.pooled_width_; ++pw) {
      dst[std::int64_t{ph} * layer.pooled_width_ + pw] = PoolWindow<Max>(
          plane, layer.width_, window,
          WindowAt(pw, layer.kernel_size_, layer.stride_, layer.pad_, layer.width_));
    }
  }
}

// The windows that the detector's networks have. They have no padding, as for all maxima.
template <int kKernel>
void MaxForwardStride2(const PoolingLayer<float>& layer, int planes, const float* input,
                       float* output) {
  const int rows =
      CellsInside(layer.pooled_height_, kKernel, layer.stride_, /*pad=*/0, layer.height_).end;
  const int cells =
      CellsInside(layer.pooled_width_, kKernel, layer.stride_, /*pad=*/0, layer.width_).end;
  const std::int64_t plane = std::int64_t{layer.height_} * layer.width_;
  const std::int64_t pooled_plane = std::int64_t{layer.pooled_height_} * layer.pooled_width_;
  for (int p = 0; p < planes; ++p, input += plane, output += pooled_plane) {
    if (rows > 0) {
      MaxStride2<kKernel>(input, layer.width_, rows, cells, output, layer.pooled_width_);
    }
    MaxRest(layer, input, rows, cells, output);
  }
}

void MaxForward(const PoolingLayer<float>& layer, int planes, const float* input, float* output) {
  if (layer.stride_ == 2 && layer.kernel_size_ == 3) {
    MaxForwardStride2<3>(layer, planes, input, output);
    return;
  }
  if (layer.stride_ == 2 && layer.kernel_size_ == 2) {
    MaxForwardStride2<2>(layer, planes, input, output);
    return;
  }
  ForEachRow(layer, planes, input, output,
             [&](const float* plane, const Window& rows, const Cells& inside, float* dst) {
               PoolRow<Max>(layer, plane, rows, inside, dst);
             });
}

void AverageForward(const PoolingLayer<float>& layer, int planes, const float* input,
                    float* output) {
  ForEachRow(layer, planes, input, output,
             [&](const float* plane, const Window& rows, const Cells& inside, float* dst) {
               PoolRow<Sum>(layer, plane, rows, inside, dst);
               DivideByWindowSizes(layer, rows, inside, dst);
             });
}

// ----------------------------------------------------------------------------
// The layer.

// Calls visit(input index, output index, window size) for each value of each window, all planes.
template <typename Visit>
void ForEachWindowValue(const PoolingLayer<float>& layer, int planes, const Visit& visit) {
  std::int64_t cell = 0;
  for (int p = 0; p < planes; ++p) {
    const std::int64_t plane = std::int64_t{p} * layer.height_ * layer.width_;
    for (int ph = 0; ph < layer.pooled_height_; ++ph) {
      const Window rows =
          WindowAt(ph, layer.kernel_size_, layer.stride_, layer.pad_, layer.height_);
      for (int pw = 0; pw < layer.pooled_width_; ++pw, ++cell) {
        const Window cols =
            WindowAt(pw, layer.kernel_size_, layer.stride_, layer.pad_, layer.width_);
        for (int h = rows.begin; h < rows.end; ++h) {
          for (int w = cols.begin; w < cols.end; ++w) {
            visit(plane + std::int64_t{h} * layer.width_ + w, cell,
                  Area(rows.padded_length, cols.padded_length));
          }
        }
      }
    }
  }
}

}  // namespace

template <typename Dtype>
void PoolingLayer<Dtype>::ComputePooledSize() {
  pooled_height_ = PooledSize(height_, kernel_size_, pad_, stride_);
  pooled_width_ = PooledSize(width_, kernel_size_, pad_, stride_);
}

template <typename Dtype>
void PoolingLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 1) << "PoolingLayer takes a single blob as input.";
  CHECK_EQ(top->size(), 1) << "PoolingLayer takes a single blob as output.";
  kernel_size_ = this->layer_param_.pooling_param().kernel_size();
  stride_ = this->layer_param_.pooling_param().stride();
  pad_ = this->layer_param_.pooling_param().pad();
  if (pad_ != 0) {
    CHECK_EQ(this->layer_param_.pooling_param().pool(), PoolingParameter_PoolMethod_AVE)
        << "Padding implemented only for average pooling.";
  }
  channels_ = bottom[0]->channels();
  height_ = bottom[0]->height();
  width_ = bottom[0]->width();
  CheckWindow(kernel_size_, pad_, stride_, height_, width_);
  ComputePooledSize();
  CheckShapeFits(bottom[0]->num(), channels_, pooled_height_, pooled_width_);
  (*top)[0]->Reshape(bottom[0]->num(), channels_, pooled_height_, pooled_width_);
  if (this->layer_param_.pooling_param().pool() == PoolingParameter_PoolMethod_STOCHASTIC) {
    rand_idx_.Reshape(bottom[0]->num(), channels_, pooled_height_, pooled_width_);
  }
}

template <typename Dtype>
void PoolingLayer<Dtype>::AlterInputShape(int /*new_width*/, int /*new_height*/,
                                          const vector<Blob<Dtype>*>& bottom,
                                          vector<Blob<Dtype>*>* top) {
  height_ = bottom[0]->height();
  width_ = bottom[0]->width();
  ComputePooledSize();
  (*top)[0]->OverwriteShape(bottom[0]->num(), channels_, pooled_height_, pooled_width_);
}

template <typename Dtype>
Dtype PoolingLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                       vector<Blob<Dtype>*>* top) {
  const int planes = bottom[0]->num() * channels_;
  CheckHolds(*bottom[0], std::int64_t{planes} * height_ * width_);
  CheckHolds(*(*top)[0], std::int64_t{planes} * pooled_height_ * pooled_width_);
  const Dtype* input = bottom[0]->cpu_data();
  Dtype* output = (*top)[0]->mutable_cpu_data();
  switch (this->layer_param_.pooling_param().pool()) {
    case PoolingParameter_PoolMethod_MAX:
      MaxForward(*this, planes, input, output);
      break;
    case PoolingParameter_PoolMethod_AVE:
      AverageForward(*this, planes, input, output);
      break;
    case PoolingParameter_PoolMethod_STOCHASTIC:
      LOG(FATAL) << "Not Implemented Yet";
      break;
    default:
      LOG(FATAL) << "Unknown pooling method.";
  }
  return Dtype(0);
}

template <typename Dtype>
void PoolingLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                       vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const int planes = top[0]->num() * channels_;
  const Dtype* top_diff = top[0]->cpu_diff();
  const Dtype* top_data = top[0]->cpu_data();
  const Dtype* bottom_data = (*bottom)[0]->cpu_data();
  Dtype* bottom_diff = (*bottom)[0]->mutable_cpu_diff();
  std::fill_n(bottom_diff, (*bottom)[0]->count(), Dtype(0));
  switch (this->layer_param_.pooling_param().pool()) {
    case PoolingParameter_PoolMethod_MAX:
      ForEachWindowValue(*this, planes, [&](std::int64_t in, std::int64_t out, float /*size*/) {
        if (bottom_data[in] == top_data[out]) bottom_diff[in] += top_diff[out];
      });
      break;
    case PoolingParameter_PoolMethod_AVE:
      ForEachWindowValue(*this, planes, [&](std::int64_t in, std::int64_t out, float size) {
        bottom_diff[in] += top_diff[out] / size;
      });
      break;
    case PoolingParameter_PoolMethod_STOCHASTIC:
      LOG(FATAL) << "Not Implemented Yet";
      break;
    default:
      LOG(FATAL) << "Unknown pooling method.";
  }
}

template class PoolingLayer<float>;

}  // namespace caffe
