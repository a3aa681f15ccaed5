// Fillers: the first values of parameter blobs.

#include "caffe/filler.hpp"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>

#include "caffe/util/math_functions.hpp"

namespace caffe {

template <typename Dtype>
void ConstantFiller<Dtype>::Fill(Blob<Dtype>* blob) {
  const int count = blob->count();
  CHECK(count);
  CHECK_EQ(this->filler_param_.sparse(), -1) << "Sparsity not supported by this Filler.";
  const Dtype value = this->filler_param_.value();
  // A block that nobody has touched reads as zeros, and costs nothing as long as nobody does.
  if (value == 0 && !std::signbit(value) && blob->data()->head() == SyncedMemory::UNINITIALIZED) {
    return;
  }
  std::fill_n(blob->mutable_cpu_data(), count, value);
}

template <typename Dtype>
void UniformFiller<Dtype>::Fill(Blob<Dtype>* blob) {
  CHECK(blob->count());
  CHECK_EQ(this->filler_param_.sparse(), -1) << "Sparsity not supported by this Filler.";
  caffe_rng_uniform(blob->count(), this->filler_param_.min(), this->filler_param_.max(),
                    blob->mutable_cpu_data());
}

template <typename Dtype>
void GaussianFiller<Dtype>::Fill(Blob<Dtype>* blob) {
  CHECK(blob->count());
  Dtype* data = blob->mutable_cpu_data();
  caffe_rng_gaussian(blob->count(), this->filler_param_.mean(), this->filler_param_.std(), data);
  const int sparse = this->filler_param_.sparse();
  CHECK_GE(sparse, -1);
  if (sparse == -1) return;

  CHECK_EQ(blob->num(), 1);
  CHECK_EQ(blob->channels(), 1);
  const Dtype keep_probability = static_cast<Dtype>(sparse) / static_cast<Dtype>(blob->height());
  rand_vec_.reset(new SyncedMemory(blob->count() * sizeof(int)));
  int* mask = static_cast<int*>(rand_vec_->mutable_cpu_data());
  caffe_rng_bernoulli(blob->count(), keep_probability, mask);
  for (int i = 0; i < blob->count(); ++i) {
    data[i] *= mask[i];
  }
}

template <typename Dtype>
void PositiveUnitballFiller<Dtype>::Fill(Blob<Dtype>* blob) {
  CHECK(blob->count());
  CHECK_EQ(this->filler_param_.sparse(), -1) << "Sparsity not supported by this Filler.";
  Dtype* data = blob->mutable_cpu_data();
  caffe_rng_uniform(blob->count(), Dtype(0), Dtype(1), data);
  const int dim = blob->count() / blob->num();
  CHECK(dim);
  for (int n = 0; n < blob->num(); ++n, data += dim) {
    const Dtype sum = std::accumulate(data, data + dim, Dtype(0));
    for (int i = 0; i < dim; ++i) {
      data[i] /= sum;
    }
  }
}

template <typename Dtype>
void XavierFiller<Dtype>::Fill(Blob<Dtype>* blob) {
  CHECK(blob->count());
  CHECK_EQ(this->filler_param_.sparse(), -1) << "Sparsity not supported by this Filler.";
  const int fan_in = blob->count() / blob->num();
  const Dtype scale = static_cast<Dtype>(std::sqrt(3.0 / fan_in));
  caffe_rng_uniform(blob->count(), -scale, scale, blob->mutable_cpu_data());
}

template class ConstantFiller<float>;
template class UniformFiller<float>;
template class GaussianFiller<float>;
template class PositiveUnitballFiller<float>;
template class XavierFiller<float>;

Filler<float>* GetFiller(const FillerParameter& param) {
  const std::string& type = param.type();
  if (type == "constant") return new ConstantFiller<float>(param);
  if (type == "gaussian") return new GaussianFiller<float>(param);
  if (type == "positive_unitball") return new PositiveUnitballFiller<float>(param);
  if (type == "uniform") return new UniformFiller<float>(param);
  if (type == "xavier") return new XavierFiller<float>(param);
  LOG(FATAL) << "Unknown filler name: " << type;
  return nullptr;
}

shared_ptr<Blob<float>> MakeFilledBlob(int num, int channels, int height, int width,
                                       const FillerParameter& param) {
  shared_ptr<Blob<float>> blob(new Blob<float>(num, channels, height, width));
  const shared_ptr<Filler<float>> filler(GetFiller(param));
  filler->Fill(blob.get());
  return blob;
}

}  // namespace caffe
