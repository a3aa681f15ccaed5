/// The layers that bring data into a network: from a database, from images in memory, from arrays
/// of the caller. All take no bottom and write images to top[0] and their labels to top[1].
///
///   DataLayer        records of a LevelDB database, read ahead on a thread
///   ImageDataLayer   images that the caller pushes before SetUp, prepared ahead on a thread
///   MemoryDataLayer  arrays of the caller, without a copy
///
/// The two layers with a thread share its scheme: util/batch_prefetcher.hpp. Their destructors join
/// the thread, and errors on it are fatal checks too. None of the layers takes a gradient.

#ifndef CAFFE_DATA_LAYERS_HPP_
#define CAFFE_DATA_LAYERS_HPP_

#include <vector>

#include "caffe/blob.hpp"
#include "caffe/common.hpp"
#include "caffe/layer.hpp"
#include "caffe/util/batch_prefetcher.hpp"

namespace cv {
class Mat;
}
namespace leveldb {
class DB;
class Iterator;
}  // namespace leveldb

namespace caffe {

// The bodies of the threads: each fills one batch of the layer that it is given.
template <typename Dtype>
void DataLayerPrefetch(void* layer_pointer);
template <typename Dtype>
void ImageDataLayerPrefetch(void* layer_pointer);

/// Reads Datum records from a LevelDB database in the order of their keys, round and round.
///
/// top[0]    float (batch_size, C, H, W), or crop_size in place of H and W. Each value is
///           (value - mean) * scale. A crop is centred, or placed at random in the training phase;
///           mirror then reverses every other crop by chance.
/// top[1]    float (batch_size, 1, 1, 1), the labels. May be left out.
/// rand_skip in SetUp, passes over fewer than that many records, a random number of them.
/// Errors    Fatal, in SetUp or on the thread: no database or an empty one, a record that does not
///           parse, differs in shape from the first or lacks values, a crop that is not smaller
///           than the records, a mirror without a crop, a mirror where nothing seeds a generator
///           (outside the training phase, unless shuffle is set where a layer has it).
/// Memory    One batch and one mean image besides the top.
template <typename Dtype>
class DataLayer : public Layer<Dtype> {
 public:
  explicit DataLayer(const LayerParameter& param);
  ~DataLayer() override;
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

  /// Starts the thread that fills the prefetch blobs once. One at a time: fatal if the last one was
  /// not joined.
  virtual void CreatePrefetchThread();
  /// Waits for the thread, if there is one.
  virtual void JoinPrefetchThread();
  /// The next 32 bits of the generator that the present thread was given. Fatal if it has none. The
  /// thread calls it, so a class that overrides it joins the thread in a destructor of its own.
  virtual unsigned int PrefetchRand();

  int datum_channels() const { return prefetcher_.datum_channels(); }
  int datum_height() const { return prefetcher_.datum_height(); }
  int datum_width() const { return prefetcher_.datum_width(); }
  int datum_size() const { return prefetcher_.datum_size(); }
  Caffe::Phase phase() const { return prefetcher_.phase(); }

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& /*top*/, bool /*propagate_down*/,
                    vector<Blob<Dtype>*>* /*bottom*/) override {}

  friend void DataLayerPrefetch<Dtype>(void* layer_pointer);

  void OpenDatabase();
  void SkipRecords(unsigned int skip);
  void ParseRecord(Datum* datum);
  bool Advance();

  shared_ptr<leveldb::DB> db_;          // Outlives the iterator: declared before it.
  shared_ptr<leveldb::Iterator> iter_;  // The next record.
  BatchPrefetcher<Dtype> prefetcher_;
};

/// Feeds images that the caller holds in memory, with label 0, round and round.
///
/// Call      activeImagePtrs().push_back(...) before SetUp. Without an image, one of the target
///           size stands in, its contents undefined. The images are 8-bit with three channels; the
///           caller leaves them and the list alone afterwards.
/// top[0]    As DataLayer's. Images are scaled to a square of new_height where that is above 0;
///           new_width is not read. source is not read either: no file but the mean is opened.
/// top[1]    float (batch_size, 1, 1, 1), zeros.
/// rand_skip in SetUp, passes over fewer than that many images; fatal if there are fewer.
/// shuffle   Does not shuffle; it only makes sure of a generator, so that a mirror may draw outside
///           the training phase.
/// Errors    As DataLayer's, with images in place of records. An image without pixels is fatal in
///           SetUp; on the thread it leaves the rest of the batch as the last one was.
template <typename Dtype>
class ImageDataLayer : public Layer<Dtype> {
 public:
  explicit ImageDataLayer(const LayerParameter& param);
  ~ImageDataLayer() override;
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

  /// As those of DataLayer.
  virtual void CreatePrefetchThread();
  virtual void JoinPrefetchThread();
  virtual unsigned int PrefetchRand();

  /// The images, in the order of their use.
  vector<shared_ptr<cv::Mat>>& activeImagePtrs() { return activeImagePtrs_; }

  int datum_channels() const { return prefetcher_.datum_channels(); }
  int datum_height() const { return prefetcher_.datum_height(); }
  int datum_width() const { return prefetcher_.datum_width(); }
  int datum_size() const { return prefetcher_.datum_size(); }
  Caffe::Phase phase() const { return prefetcher_.phase(); }

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& /*top*/, bool /*propagate_down*/,
                    vector<Blob<Dtype>*>* /*bottom*/) override {}

  friend void ImageDataLayerPrefetch<Dtype>(void* layer_pointer);

  int lines_id_ = 0;  // Index of the next image.
  vector<shared_ptr<cv::Mat>> activeImagePtrs_;
  BatchPrefetcher<Dtype> prefetcher_;
};

/// Points its tops at arrays of the caller, batch after batch, without a copy.
///
/// Call      Reset before the first Forward.
/// top[0]    float (batch_size, channels, height, width), all four from memory_data_param.
/// top[1]    float (batch_size, 1, 1, 1).
/// Owners    The arrays stay the caller's and must outlive the use of the tops.
/// Errors    Sizes that are not given are fatal in SetUp; a Forward before Reset, or whose batch
///           would reach past the end of the arrays, is fatal.
template <typename Dtype>
class MemoryDataLayer : public Layer<Dtype> {
 public:
  explicit MemoryDataLayer(const LayerParameter& param) : Layer<Dtype>(param) {}
  void SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;

  /// data: (n, channels, height, width); labels: n. Starts over at the first image. n is a multiple
  /// of batch_size, or the batch at the end does not fit.
  void Reset(Dtype* data, Dtype* labels, int n);

  int datum_channels() const { return datum_channels_; }
  int datum_height() const { return datum_height_; }
  int datum_width() const { return datum_width_; }
  int datum_size() const { return datum_size_; }
  int batch_size() const { return batch_size_; }
  int n() const { return n_; }
  int pos() const { return pos_; }

 protected:
  Dtype Forward_cpu(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) override;
  void Backward_cpu(const vector<Blob<Dtype>*>& /*top*/, bool /*propagate_down*/,
                    vector<Blob<Dtype>*>* /*bottom*/) override {}

 private:
  Dtype* data_ = nullptr;
  Dtype* labels_ = nullptr;
  int datum_channels_ = 0;
  int datum_height_ = 0;
  int datum_width_ = 0;
  int datum_size_ = 0;
  int batch_size_ = 0;
  int n_ = 0;    // Images in data_.
  int pos_ = 0;  // Index of the next image.
};

/// Writes an 8-bit image with three channels as a record: planes in the order of the channels,
/// label 0. Returns whether the image has pixels.
///
/// height, width  If both are above 0, the image is first scaled linearly to `height` columns and
///                `width` rows: the two are crossed, which only shows where they differ.
/// Errors         An image of another type is fatal.
bool ReadImageToDatum(const cv::Mat& image, int height, int width, Datum* datum);

}  // namespace caffe

#endif  // CAFFE_DATA_LAYERS_HPP_
