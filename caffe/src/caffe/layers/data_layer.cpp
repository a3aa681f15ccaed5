// DataLayer: records of a LevelDB data base, read a batch ahead on a thread.

#include <cblas.h>
#include <leveldb/db.h>

#include <cstdint>
#include <limits>
#include <string>

#include "caffe/data_layers.hpp"
#include "caffe/util/blob_file.hpp"
#include "caffe/util/datum_transform.hpp"
#include "caffe/util/math_functions.hpp"
#include "caffe/util/rng.hpp"

namespace caffe {

template <typename Dtype>
void DataLayerPrefetch(void* layer_pointer) {
  CHECK(layer_pointer);
  auto* layer = static_cast<DataLayer<Dtype>*>(layer_pointer);
  CHECK(layer);
  CHECK(layer->prefetch_data_);
  const DataParameter param = layer->layer_param_.data_param();
  const int batch_size = param.batch_size();
  const int crop_size = param.crop_size();
  if (param.mirror() && crop_size == 0) {
    LOG(FATAL) << "Current implementation requires mirror and crop_size to be "
               << "set at the same time.";
  }
  const DatumTransform transform = {layer->datum_channels_,
                                    layer->datum_height_,
                                    layer->datum_width_,
                                    param.scale(),
                                    crop_size,
                                    param.mirror(),
                                    /*random_crop=*/layer->phase_ == Caffe::TRAIN,
                                    layer->data_mean_.cpu_data()};
  const auto draw = [layer] { return layer->PrefetchRand(); };
  const int slot_size = layer->prefetch_data_->count() / batch_size;
  Dtype* data = layer->prefetch_data_->mutable_cpu_data();
  Dtype* labels = layer->prefetch_label_ ? layer->prefetch_label_->mutable_cpu_data() : nullptr;
  for (int item = 0; item < batch_size; ++item) {
    CHECK(layer->iter_);
    CHECK(layer->iter_->Valid());
    Datum datum;
    layer->ParseRecord(&datum);
    TransformDatum(datum, transform, draw, data + item * slot_size);
    if (labels != nullptr) {
      labels[item] = datum.label();
    }
    layer->Advance();
  }
}

template <typename Dtype>
DataLayer<Dtype>::DataLayer(const LayerParameter& param) : Layer<Dtype>(param) {}

template <typename Dtype>
DataLayer<Dtype>::~DataLayer() {
  DataLayer::JoinPrefetchThread();
}

template <typename Dtype>
void DataLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 0) << "Data Layer takes no input blobs.";
  CHECK_GE(top->size(), 1) << "Data Layer takes at least one blob as output.";
  CHECK_LE(top->size(), 2) << "Data Layer takes at most two blobs as output.";
  const DataParameter& param = this->layer_param_.data_param();
  OpenDatabase();
  if (param.rand_skip() != 0) {
    SkipRecords(caffe_rng_rand() % param.rand_skip());
  }
  Datum datum;
  ParseRecord(&datum);

  CHECK_LE(param.crop_size(), static_cast<std::uint32_t>(std::numeric_limits<int>::max()));
  const int crop_size = param.crop_size();
  const int batch_size = param.batch_size();
  const int out_height = crop_size > 0 ? crop_size : datum.height();
  const int out_width = crop_size > 0 ? crop_size : datum.width();
  (*top)[0]->Reshape(batch_size, datum.channels(), out_height, out_width);
  prefetch_data_.reset(new Blob<Dtype>(batch_size, datum.channels(), out_height, out_width));
  if (top->size() == 2) {
    (*top)[1]->Reshape(batch_size, 1, 1, 1);
    prefetch_label_.reset(new Blob<Dtype>(batch_size, 1, 1, 1));
  }

  datum_channels_ = datum.channels();
  datum_height_ = datum.height();
  datum_width_ = datum.width();
  datum_size_ = DatumSize(datum_channels_, datum_height_, datum_width_);
  CHECK_GT(datum_height_, crop_size);
  CHECK_GT(datum_width_, crop_size);
  ReadMean();
  // Memory is allocated here, so that the thread allocates none of it.
  prefetch_data_->mutable_cpu_data();
  if (prefetch_label_) {
    prefetch_label_->mutable_cpu_data();
  }
  data_mean_.cpu_data();
  CreatePrefetchThread();
}

template <typename Dtype>
void DataLayer<Dtype>::OpenDatabase() {
  const std::string& source = this->layer_param_.data_param().source();
  leveldb::Options options;
  options.create_if_missing = false;
  options.max_open_files = 100;
  leveldb::DB* db = nullptr;
  const leveldb::Status status = leveldb::DB::Open(options, source, &db);
  CHECK(status.ok()) << "Failed to open leveldb " << source;
  db_.reset(db);
  iter_.reset(db_->NewIterator(leveldb::ReadOptions()));
  iter_->SeekToFirst();
  CHECK(iter_->Valid()) << "No records in leveldb " << source;
}

// The data base may hold fewer records than are to be skipped. Its size is known once it was walked
// through; the whole rounds that remain are then left out.
template <typename Dtype>
void DataLayer<Dtype>::SkipRecords(unsigned int skip) {
  unsigned int passed = 0;
  while (skip > 0) {
    const bool wrapped = Advance();
    --skip;
    ++passed;
    if (wrapped) {
      skip %= passed;
    }
  }
}

// Returns whether the next record is the first one again. A data base that became unreadable on the
// way ends its iterator, too, and must not pass for one that is through.
template <typename Dtype>
bool DataLayer<Dtype>::Advance() {
  iter_->Next();
  if (iter_->Valid()) {
    return false;
  }
  CHECK(iter_->status().ok()) << "Failed to read leveldb: " << iter_->status().ToString();
  iter_->SeekToFirst();
  return true;
}

template <typename Dtype>
void DataLayer<Dtype>::ParseRecord(Datum* datum) {
  const leveldb::Slice value = iter_->value();
  CHECK_LE(value.size(), static_cast<std::size_t>(std::numeric_limits<int>::max()));
  CHECK(datum->ParseFromArray(value.data(), static_cast<int>(value.size())))
      << "A record is not a Datum: key " << iter_->key().ToString();
}

template <typename Dtype>
void DataLayer<Dtype>::ReadMean() {
  const DataParameter& param = this->layer_param_.data_param();
  if (!param.has_mean_file()) {
    data_mean_.Reshape(1, datum_channels_, datum_height_, datum_width_);
    return;
  }
  BlobProto proto;
  ReadBlobFromFile(param.mean_file().c_str(), &proto);
  data_mean_.FromProto(proto);
  CHECK_EQ(data_mean_.num(), 1);
  CHECK_EQ(data_mean_.channels(), datum_channels_);
  CHECK_EQ(data_mean_.height(), datum_height_);
  CHECK_EQ(data_mean_.width(), datum_width_);
}

template <typename Dtype>
void DataLayer<Dtype>::CreatePrefetchThread() {
  CHECK(!thread_.joinable()) << "The last prefetch thread was not joined.";
  phase_ = Caffe::phase();
  const DataParameter& param = this->layer_param_.data_param();
  const bool draws = param.mirror() || param.crop_size() > 0;
  prefetch_rng_.reset();
  if (phase_ == Caffe::TRAIN && draws) {
    prefetch_rng_.reset(new Caffe::RNG(caffe_rng_rand()));
  }
  thread_ = std::thread(DataLayerPrefetch<Dtype>, static_cast<void*>(this));
}

template <typename Dtype>
void DataLayer<Dtype>::JoinPrefetchThread() {
  if (thread_.joinable()) {
    thread_.join();
  }
}

template <typename Dtype>
unsigned int DataLayer<Dtype>::PrefetchRand() {
  CHECK(prefetch_rng_);
  return (*static_cast<rng_t*>(prefetch_rng_->generator()))();
}

template <typename Dtype>
Dtype DataLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& /*bottom*/,
                                    vector<Blob<Dtype>*>* top) {
  JoinPrefetchThread();
  CHECK(prefetch_data_);
  cblas_scopy(prefetch_data_->count(), prefetch_data_->cpu_data(), 1, (*top)[0]->mutable_cpu_data(),
              1);
  if (prefetch_label_) {
    cblas_scopy(prefetch_label_->count(), prefetch_label_->cpu_data(), 1,
                (*top)[1]->mutable_cpu_data(), 1);
  }
  CreatePrefetchThread();
  return Dtype(0);
}

template void DataLayerPrefetch<float>(void* layer_pointer);
template class DataLayer<float>;

}  // namespace caffe
