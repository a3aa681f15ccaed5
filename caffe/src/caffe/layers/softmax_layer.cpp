// SoftmaxLayer: probabilities over the channels at each position.

#include <cblas.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "caffe/common_layers.hpp"
#include "caffe/util/math_functions.hpp"
#include "caffe/util/shape_checks.hpp"

namespace caffe {
namespace {

// The maximum of n values; NaN is skipped. Several running maxima, since a single
// one would make each comparison wait for the last.
float Maximum(const float* values, int n) {
  constexpr int kLanes = 16;
  float maxima[kLanes];
  std::fill_n(maxima, kLanes, -std::numeric_limits<float>::infinity());
  int i = 0;
  for (; i + kLanes <= n; i += kLanes) {
    for (int lane = 0; lane < kLanes; ++lane) {
      maxima[lane] = values[i + lane] > maxima[lane] ? values[i + lane] : maxima[lane];
    }
  }
  for (; i < n; ++i) {
    maxima[0] = values[i] > maxima[0] ? values[i] : maxima[0];
  }
  return *std::max_element(maxima, maxima + kLanes);
}

}  // namespace

template <typename Dtype>
void SoftmaxLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 1) << "Softmax Layer takes a single blob as input.";
  CHECK_EQ(top->size(), 1) << "Softmax Layer takes a single blob as output.";
  (*top)[0]->Reshape(bottom[0]->num(), bottom[0]->channels(), bottom[0]->height(),
                     bottom[0]->width());
  sum_multiplier_.Reshape(1, bottom[0]->channels(), bottom[0]->height(), bottom[0]->width());
  std::fill_n(sum_multiplier_.mutable_cpu_data(), sum_multiplier_.count(), Dtype(1));
  scale_.Reshape(bottom[0]->num(), 1, 1, 1);
  // Height and width change places here, which the count does not see.
  sum_buffer_.Reshape(1, 1, (*top)[0]->width(), (*top)[0]->height());
  CHECK_GE((*top)[0]->channels(), 2) << "Softmax Layer takes more than two-channels output.";
}

template <typename Dtype>
void SoftmaxLayer<Dtype>::AlterInputShape(int /*new_width*/, int /*new_height*/,
                                          const vector<Blob<Dtype>*>& bottom,
                                          vector<Blob<Dtype>*>* top) {
  const Blob<Dtype>& input = *bottom[0];
  (*top)[0]->OverwriteShape(input.num(), input.channels(), input.height(), input.width());
  sum_multiplier_.OverwriteShape(1, input.channels(), input.height(), input.width());
  scale_.OverwriteShape(input.num(), 1, 1, 1);
}

// Subtracts one value per image from all its elements.
template <typename Dtype>
void SoftmaxLayer<Dtype>::SubtractFromImages(const Dtype* values, int num, int dim, Dtype* images) {
  for (int n = 0; n < num; ++n) {
    caffe_add_scalar(dim, -values[n], images + std::int64_t{n} * dim);
  }
}

template <typename Dtype>
Dtype SoftmaxLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                       vector<Blob<Dtype>*>* top) {
  const int count = bottom[0]->count();
  const int channels = (*top)[0]->channels();
  const int spatial = bottom[0]->height() * bottom[0]->width();
  CheckHolds(*bottom[0], count);
  CheckHolds(*(*top)[0], count);
  CheckHolds(sum_multiplier_, sum_multiplier_.count());
  CheckHolds(scale_, scale_.count());
  CheckHolds(sum_buffer_, spatial);
  const Dtype* input = bottom[0]->cpu_data();
  Dtype* output = (*top)[0]->mutable_cpu_data();
  Dtype* maxima = scale_.mutable_cpu_data();
  Dtype* sums = sum_buffer_.mutable_cpu_data();
  const int num = bottom[0]->num();
  const int dim = count / num;

  // Exponentials, with the maximum of each image at exponent 0.
  if (input != output) {
    std::memcpy(output, input, count * sizeof(Dtype));
  }
  for (int i = 0; i < num; ++i) {
    maxima[i] = Maximum(input + i * dim, dim);
  }
  SubtractFromImages(maxima, num, dim, output);
  vsExp(count, output, output);

  // Normalization, of the first image alone.
  vsAdd(spatial, output, output + spatial, sums);
  for (int c = 2; c < channels; ++c) {
    vsAdd(spatial, output + c * spatial, sums, sums);
  }
  for (int c = 0; c < channels; ++c) {
    vsDiv(spatial, output + c * spatial, sums, output + c * spatial);
  }
  return Dtype(0);
}

template <typename Dtype>
void SoftmaxLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                       vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const Dtype* top_diff = top[0]->cpu_diff();
  const Dtype* top_data = top[0]->cpu_data();
  Dtype* bottom_diff = (*bottom)[0]->mutable_cpu_diff();
  Dtype* dots = scale_.mutable_cpu_data();
  const int count = top[0]->count();
  const int num = top[0]->num();
  const int dim = count / num;
  if (bottom_diff != top_diff) {
    std::memcpy(bottom_diff, top_diff, count * sizeof(Dtype));
  }
  for (int i = 0; i < num; ++i) {
    dots[i] = cblas_sdot(dim, top_diff + i * dim, 1, top_data + i * dim, 1);
  }
  SubtractFromImages(dots, num, dim, bottom_diff);
  vsMul(count, bottom_diff, top_data, bottom_diff);
}

template class SoftmaxLayer<float>;

}  // namespace caffe
