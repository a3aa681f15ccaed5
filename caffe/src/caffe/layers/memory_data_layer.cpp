// MemoryDataLayer: arrays of the caller as the values of the tops.

#include <cstddef>
#include <cstdint>
#include <limits>

#include "caffe/data_layers.hpp"
#include "caffe/util/datum_transform.hpp"

namespace caffe {

namespace {

// A size as the definition gives it, unsigned; beyond 31 bits it would turn negative.
int SizeFrom(std::uint32_t size) {
  CHECK_LE(size, static_cast<std::uint32_t>(std::numeric_limits<int>::max()))
      << "A size in memory_data_param is too large.";
  return static_cast<int>(size);
}

void CheckBatchFits(std::int64_t batch_size, std::int64_t datum_size) {
  CHECK_LE(batch_size * datum_size, std::numeric_limits<int>::max())
      << "The batch in memory_data_param is too large.";
}

}  // namespace

template <typename Dtype>
void MemoryDataLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 0) << "Memory Data Layer takes no blobs as input.";
  CHECK_EQ(top->size(), 2) << "Memory Data Layer takes two blobs as output.";
  const MemoryDataParameter& param = this->layer_param_.memory_data_param();
  batch_size_ = SizeFrom(param.batch_size());
  datum_channels_ = SizeFrom(param.channels());
  datum_height_ = SizeFrom(param.height());
  datum_width_ = SizeFrom(param.width());
  datum_size_ = DatumSize(datum_channels_, datum_height_, datum_width_);
  CheckBatchFits(batch_size_, datum_size_);
  CHECK_GT(batch_size_ * datum_size_, 0) << "batch_size, channels, height, and width must be "
                                            "specified and positive in memory_data_param";
  (*top)[0]->Reshape(batch_size_, datum_channels_, datum_height_, datum_width_);
  (*top)[1]->Reshape(batch_size_, 1, 1, 1);
}

template <typename Dtype>
void MemoryDataLayer<Dtype>::Reset(Dtype* data, Dtype* labels, int n) {
  CHECK(data);
  CHECK(labels);
  CHECK_GT(n, 0);
  data_ = data;
  labels_ = labels;
  n_ = n;
  pos_ = 0;
}

template <typename Dtype>
Dtype MemoryDataLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& /*bottom*/,
                                          vector<Blob<Dtype>*>* top) {
  CHECK(data_) << "MemoryDataLayer needs to be initalized by calling Reset";
  CHECK_LE(batch_size_, n_ - pos_) << "The arrays end inside of a batch.";
  (*top)[0]->set_cpu_data(data_ + static_cast<std::ptrdiff_t>(pos_) * datum_size_);
  (*top)[1]->set_cpu_data(labels_ + pos_);
  pos_ = (pos_ + batch_size_) % n_;
  return Dtype(0);
}

template class MemoryDataLayer<float>;

}  // namespace caffe
