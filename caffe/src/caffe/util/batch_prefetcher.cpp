// BatchPrefetcher: shapes and mean from the first record, then a thread for each batch.

#include "caffe/util/batch_prefetcher.hpp"

#include <cblas.h>

#include <limits>

#include "caffe/util/blob_file.hpp"
#include "caffe/util/datum_transform.hpp"
#include "caffe/util/math_functions.hpp"
#include "caffe/util/rng.hpp"

namespace caffe {

template <typename Dtype>
void BatchPrefetcher<Dtype>::SetUp(const Datum& first, const vector<Blob<Dtype>*>& top) {
  CHECK_LE(parameter_.crop_size, static_cast<std::uint32_t>(std::numeric_limits<int>::max()));
  const int crop_size = parameter_.crop_size;
  const int batch_size = parameter_.batch_size;
  const int out_height = crop_size > 0 ? crop_size : first.height();
  const int out_width = crop_size > 0 ? crop_size : first.width();
  top[0]->Reshape(batch_size, first.channels(), out_height, out_width);
  prefetch_data_.reset(new Blob<Dtype>(batch_size, first.channels(), out_height, out_width));
  if (top.size() == 2) {
    top[1]->Reshape(batch_size, 1, 1, 1);
    prefetch_label_.reset(new Blob<Dtype>(batch_size, 1, 1, 1));
  }

  datum_channels_ = first.channels();
  datum_height_ = first.height();
  datum_width_ = first.width();
  datum_size_ = DatumSize(datum_channels_, datum_height_, datum_width_);
  CHECK_GT(datum_height_, crop_size);
  CHECK_GT(datum_width_, crop_size);
  ReadMean();

  prefetch_data_->mutable_cpu_data();
  if (prefetch_label_) {
    prefetch_label_->mutable_cpu_data();
  }
  data_mean_.cpu_data();
}

template <typename Dtype>
void BatchPrefetcher<Dtype>::ReadMean() {
  if (!parameter_.has_mean_file) {
    data_mean_.Reshape(1, datum_channels_, datum_height_, datum_width_);
    return;
  }
  BlobProto proto;
  ReadBlobFromFile(parameter_.mean_file.c_str(), &proto);
  data_mean_.FromProto(proto);
  CHECK_EQ(data_mean_.num(), 1);
  CHECK_EQ(data_mean_.channels(), datum_channels_);
  CHECK_EQ(data_mean_.height(), datum_height_);
  CHECK_EQ(data_mean_.width(), datum_width_);
}

template <typename Dtype>
void BatchPrefetcher<Dtype>::Start(void (*fill)(void*), void* layer, bool always_draws) {
  CHECK(!thread_.joinable()) << "The last prefetch thread was not joined.";
  phase_ = Caffe::phase();
  const bool draws_in_training = parameter_.mirror || parameter_.crop_size > 0;
  prefetch_rng_.reset();
  if (always_draws || (phase_ == Caffe::TRAIN && draws_in_training)) {
    prefetch_rng_.reset(new Caffe::RNG(caffe_rng_rand()));
  }
  thread_ = std::thread(fill, layer);
}

template <typename Dtype>
void BatchPrefetcher<Dtype>::Join() {
  if (thread_.joinable()) {
    thread_.join();
  }
}

template <typename Dtype>
unsigned int BatchPrefetcher<Dtype>::Rand() {
  CHECK(prefetch_rng_);
  return (*static_cast<rng_t*>(prefetch_rng_->generator()))();
}

template <typename Dtype>
void BatchPrefetcher<Dtype>::CopyTo(const vector<Blob<Dtype>*>& top) const {
  CHECK(prefetch_data_);
  cblas_scopy(prefetch_data_->count(), prefetch_data_->cpu_data(), 1, top[0]->mutable_cpu_data(),
              1);
  if (prefetch_label_) {
    cblas_scopy(prefetch_label_->count(), prefetch_label_->cpu_data(), 1,
                top[1]->mutable_cpu_data(), 1);
  }
}

template <typename Dtype>
void BatchPrefetcher<Dtype>::Fill(const std::function<bool(Datum*)>& read,
                                  const std::function<unsigned int()>& draw) {
  const auto* layer = this;  // The name by which the message speaks of it.
  CHECK(layer->prefetch_data_);
  const int crop_size = parameter_.crop_size;
  if (parameter_.mirror && crop_size == 0) {
    LOG(FATAL) << "Current implementation requires mirror and crop_size to be "
               << "set at the same time.";
  }
  const DatumTransform transform = {datum_channels_,
                                    datum_height_,
                                    datum_width_,
                                    parameter_.scale,
                                    crop_size,
                                    parameter_.mirror,
                                    /*random_crop=*/phase_ == Caffe::TRAIN,
                                    data_mean_.cpu_data()};
  const int slot_size = prefetch_data_->count() / parameter_.batch_size;
  Dtype* data = prefetch_data_->mutable_cpu_data();
  Dtype* labels = prefetch_label_ ? prefetch_label_->mutable_cpu_data() : nullptr;
  for (int item = 0; item < parameter_.batch_size; ++item) {
    Datum datum;
    if (!read(&datum)) {
      continue;
    }
    TransformDatum(datum, transform, draw, data + item * slot_size);
    if (labels != nullptr) {
      labels[item] = datum.label();
    }
  }
}

template class BatchPrefetcher<float>;

}  // namespace caffe
