// DataLayer: records of a LevelDB database, read a batch ahead on a thread.

#include <leveldb/db.h>

#include <cstddef>
#include <limits>
#include <string>

#include "caffe/data_layers.hpp"
#include "caffe/util/math_functions.hpp"

namespace caffe {

template <typename Dtype>
void DataLayerPrefetch(void* layer_pointer) {
  CHECK(layer_pointer);
  auto* layer = static_cast<DataLayer<Dtype>*>(layer_pointer);
  CHECK(layer);
  layer->prefetcher_.Fill(
      [layer](Datum* datum) {
        CHECK(layer->iter_);
        CHECK(layer->iter_->Valid());
        layer->ParseRecord(datum);
        layer->Advance();
        return true;
      },
      [layer] { return layer->PrefetchRand(); });
}

template <typename Dtype>
DataLayer<Dtype>::DataLayer(const LayerParameter& param)
    : Layer<Dtype>(param), prefetcher_(BatchParameter::Of(param.data_param())) {}

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
  prefetcher_.SetUp(datum, *top);
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

// The database may hold fewer records than are to be skipped. Its size is known once it was walked
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

// Returns whether the next record is the first one again. A database that became unreadable on the
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
void DataLayer<Dtype>::CreatePrefetchThread() {
  prefetcher_.Start(DataLayerPrefetch<Dtype>, this, /*always_draws=*/false);
}

template <typename Dtype>
void DataLayer<Dtype>::JoinPrefetchThread() {
  prefetcher_.Join();
}

template <typename Dtype>
unsigned int DataLayer<Dtype>::PrefetchRand() {
  return prefetcher_.Rand();
}

template <typename Dtype>
Dtype DataLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& /*bottom*/,
                                    vector<Blob<Dtype>*>* top) {
  JoinPrefetchThread();
  prefetcher_.CopyTo(*top);
  CreatePrefetchThread();
  return Dtype(0);
}

template void DataLayerPrefetch<float>(void* layer_pointer);
template class DataLayer<float>;

}  // namespace caffe
