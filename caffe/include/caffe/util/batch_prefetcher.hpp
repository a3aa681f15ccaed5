/// BatchPrefetcher: the batch ahead, for the layers that read their data on a thread.

#ifndef CAFFE_UTIL_BATCH_PREFETCHER_HPP_
#define CAFFE_UTIL_BATCH_PREFETCHER_HPP_

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "caffe/blob.hpp"
#include "caffe/common.hpp"

namespace caffe {

/// What a definition says of its batches: fields that DataParameter and ImageDataParameter share.
struct BatchParameter {
  template <typename Definition>
  static BatchParameter Of(const Definition& definition) {
    return {static_cast<int>(definition.batch_size()),
            definition.crop_size(),
            definition.scale(),
            definition.mirror(),
            definition.has_mean_file(),
            definition.mean_file()};
  }
  int batch_size;
  std::uint32_t crop_size;  // 0 for whole images.
  float scale;
  bool mirror;
  bool has_mean_file;
  std::string mean_file;
};

/// Builds a batch on a thread while the network works on the one before.
///
/// From the layer's SetUp on, one thread at a time fills the prefetch blobs; the layer's Forward
/// joins it, copies the batch to the tops and starts the next thread. The join is all the
/// synchronisation: while a thread runs, only it touches the prefetch blobs, the position in the
/// layer's input and the generator, which was seeded on the network's thread.
///
/// Errors  Fatal, on either thread, with the texts of the layers.
/// Memory  One batch and one mean image.
template <typename Dtype>
class BatchPrefetcher {
 public:
  explicit BatchPrefetcher(const BatchParameter& parameter) : parameter_(parameter) {}
  ~BatchPrefetcher() { Join(); }
  BatchPrefetcher(const BatchPrefetcher&) = delete;
  BatchPrefetcher& operator=(const BatchPrefetcher&) = delete;

  /// Takes the shape of all records from the first, shapes the tops, one or two, and the prefetch
  /// blobs, and reads the mean. Allocates all memory, so that the thread allocates none of it.
  void SetUp(const Datum& first, const vector<Blob<Dtype>*>& top);

  /// Runs fill(layer) on a thread. Seeds a generator if always_draws is set, or if the batches of
  /// the training phase need one and this is that phase. Fatal if the last thread was not joined.
  void Start(void (*fill)(void*), void* layer, bool always_draws);
  /// Waits for the thread, if there is one.
  void Join();
  /// The next 32 bits of the generator that the present thread was given. Fatal if it has none.
  unsigned int Rand();
  /// Writes the finished batch to the tops.
  void CopyTo(const vector<Blob<Dtype>*>& top) const;

  /// Fills the prefetch blobs, on the thread.
  ///
  /// read  Gives the next record; false leaves its slot as the last batch had it.
  /// draw  The next 32 random bits.
  void Fill(const std::function<bool(Datum*)>& read, const std::function<unsigned int()>& draw);

  int datum_channels() const { return datum_channels_; }
  int datum_height() const { return datum_height_; }
  int datum_width() const { return datum_width_; }
  int datum_size() const { return datum_size_; }
  Caffe::Phase phase() const { return phase_; }
  const Blob<Dtype>& data_mean() const { return data_mean_; }
  const shared_ptr<Blob<Dtype>>& prefetch_label() const { return prefetch_label_; }

 private:
  void ReadMean();

  const BatchParameter parameter_;
  shared_ptr<Caffe::RNG> prefetch_rng_;  // Null where no draw is wanted.
  int datum_channels_ = 0;
  int datum_height_ = 0;
  int datum_width_ = 0;
  int datum_size_ = 0;
  std::thread thread_;
  shared_ptr<Blob<Dtype>> prefetch_data_;
  shared_ptr<Blob<Dtype>> prefetch_label_;  // Null with one top.
  Blob<Dtype> data_mean_;                   // All zeros without a mean file.
  Caffe::Phase phase_ = Caffe::TRAIN;       // Of the last start of the thread.
};

}  // namespace caffe

#endif  // CAFFE_UTIL_BATCH_PREFETCHER_HPP_
