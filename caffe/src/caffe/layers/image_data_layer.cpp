// ImageDataLayer: images of the caller, prepared a batch ahead on a thread.

#include <cblas.h>

#include <cstdint>
#include <limits>
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "caffe/data_layers.hpp"
#include "caffe/util/blob_file.hpp"
#include "caffe/util/datum_transform.hpp"
#include "caffe/util/math_functions.hpp"
#include "caffe/util/rng.hpp"

namespace caffe {

namespace {

// Interleaved pixels to planes.
void WritePlanes(const cv::Mat& image, std::string* planes) {
  const int channels = image.channels();
  planes->reserve(image.total() * channels);
  for (int channel = 0; channel < channels; ++channel) {
    for (int row = 0; row < image.rows; ++row) {
      const auto* pixels = image.ptr<unsigned char>(row);
      for (int column = 0; column < image.cols; ++column) {
        planes->push_back(static_cast<char>(pixels[column * channels + channel]));
      }
    }
  }
}

}  // namespace

bool ReadImageToDatum(const cv::Mat& image, int height, int width, Datum* datum) {
  if (image.empty()) {
    return false;
  }
  CHECK(image.dims == 2 && image.type() == CV_8UC3) << "Images are 8-bit with three channels.";
  cv::Mat scaled = image;
  if (height > 0 && width > 0) {
    cv::resize(image, scaled, cv::Size(height, width), 0, 0, cv::INTER_LINEAR);
  }
  datum->set_channels(3);
  datum->set_height(scaled.rows);
  datum->set_width(scaled.cols);
  datum->set_label(0);
  datum->clear_data();
  datum->clear_float_data();
  WritePlanes(scaled, datum->mutable_data());
  return true;
}

template <typename Dtype>
void ImageDataLayerPrefetch(void* layer_pointer) {
  CHECK(layer_pointer);
  auto* layer = static_cast<ImageDataLayer<Dtype>*>(layer_pointer);
  CHECK(layer);
  CHECK(layer->prefetch_data_);
  const ImageDataParameter param = layer->layer_param_.image_data_param();
  const int batch_size = param.batch_size();
  const int crop_size = param.crop_size();
  const int new_height = param.new_height();
  const int new_width = param.new_height();
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
  Dtype* labels = layer->prefetch_label_->mutable_cpu_data();
  const int lines_size = static_cast<int>(layer->activeImagePtrs_.size());
  for (int item = 0; item < batch_size; ++item) {
    CHECK_GT(lines_size, layer->lines_id_);
    const cv::Mat& image = *layer->activeImagePtrs_[layer->lines_id_];
    Datum datum;
    if (!ReadImageToDatum(image, new_height, new_width, &datum)) {
      continue;
    }
    TransformDatum(datum, transform, draw, data + item * slot_size);
    labels[item] = datum.label();
    ++layer->lines_id_;
    if (layer->lines_id_ >= lines_size) {
      layer->lines_id_ = 0;
    }
  }
}

template <typename Dtype>
ImageDataLayer<Dtype>::ImageDataLayer(const LayerParameter& param) : Layer<Dtype>(param) {}

template <typename Dtype>
ImageDataLayer<Dtype>::~ImageDataLayer() {
  ImageDataLayer::JoinPrefetchThread();
}

template <typename Dtype>
void ImageDataLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_EQ(bottom.size(), 0) << "Input Layer takes no input blobs.";
  CHECK_EQ(top->size(), 2) << "Input Layer takes two blobs as output.";
  const ImageDataParameter& param = this->layer_param_.image_data_param();
  // One field for both sides: networks that use this layer are trained on squares.
  const int new_height = param.new_height();
  const int new_width = param.new_height();
  CHECK((new_height == 0 && new_width == 0) || (new_height > 0 && new_width > 0))
      << "Current implementation requires new_height and new_width to be set at the same time.";
  // Refused here, before an image of that size takes all memory.
  DatumSize(/*channels=*/3, new_height, new_width);
  if (activeImagePtrs_.empty()) {
    activeImagePtrs_.push_back(shared_ptr<cv::Mat>(new cv::Mat(new_height, new_width, CV_8UC3)));
  }
  for (const shared_ptr<cv::Mat>& image : activeImagePtrs_) {
    CHECK(image) << "A null pointer among the images.";
  }
  lines_id_ = 0;
  if (param.rand_skip() != 0) {
    const unsigned int skip = caffe_rng_rand() % param.rand_skip();
    CHECK_GT(activeImagePtrs_.size(), skip) << "Not enough points to skip";
    lines_id_ = skip;
  }
  Datum datum;
  CHECK(ReadImageToDatum(*(activeImagePtrs_[lines_id_]), new_height, new_width, &datum));

  CHECK_LE(param.crop_size(), static_cast<std::uint32_t>(std::numeric_limits<int>::max()));
  const int crop_size = param.crop_size();
  const int batch_size = param.batch_size();
  const int out_height = crop_size > 0 ? crop_size : datum.height();
  const int out_width = crop_size > 0 ? crop_size : datum.width();
  (*top)[0]->Reshape(batch_size, datum.channels(), out_height, out_width);
  prefetch_data_.reset(new Blob<Dtype>(batch_size, datum.channels(), out_height, out_width));
  (*top)[1]->Reshape(batch_size, 1, 1, 1);
  prefetch_label_.reset(new Blob<Dtype>(batch_size, 1, 1, 1));

  datum_channels_ = datum.channels();
  datum_height_ = datum.height();
  datum_width_ = datum.width();
  datum_size_ = DatumSize(datum_channels_, datum_height_, datum_width_);
  CHECK_GT(datum_height_, crop_size);
  CHECK_GT(datum_width_, crop_size);
  ReadMean();
  // Memory is allocated here, so that the thread allocates none of it.
  prefetch_data_->mutable_cpu_data();
  prefetch_label_->mutable_cpu_data();
  data_mean_.cpu_data();
  CreatePrefetchThread();
}

template <typename Dtype>
void ImageDataLayer<Dtype>::ReadMean() {
  const ImageDataParameter& param = this->layer_param_.image_data_param();
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
void ImageDataLayer<Dtype>::CreatePrefetchThread() {
  CHECK(!thread_.joinable()) << "The last prefetch thread was not joined.";
  phase_ = Caffe::phase();
  const ImageDataParameter& param = this->layer_param_.image_data_param();
  const bool draws_in_training = param.mirror() || param.crop_size() > 0;
  prefetch_rng_.reset();
  if (param.shuffle() || (phase_ == Caffe::TRAIN && draws_in_training)) {
    prefetch_rng_.reset(new Caffe::RNG(caffe_rng_rand()));
  }
  thread_ = std::thread(ImageDataLayerPrefetch<Dtype>, static_cast<void*>(this));
}

template <typename Dtype>
void ImageDataLayer<Dtype>::JoinPrefetchThread() {
  if (thread_.joinable()) {
    thread_.join();
  }
}

template <typename Dtype>
unsigned int ImageDataLayer<Dtype>::PrefetchRand() {
  CHECK(prefetch_rng_);
  return (*static_cast<rng_t*>(prefetch_rng_->generator()))();
}

template <typename Dtype>
Dtype ImageDataLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& /*bottom*/,
                                         vector<Blob<Dtype>*>* top) {
  JoinPrefetchThread();
  CHECK(prefetch_data_);
  cblas_scopy(prefetch_data_->count(), prefetch_data_->cpu_data(), 1, (*top)[0]->mutable_cpu_data(),
              1);
  cblas_scopy(prefetch_label_->count(), prefetch_label_->cpu_data(), 1,
              (*top)[1]->mutable_cpu_data(), 1);
  CreatePrefetchThread();
  return Dtype(0);
}

template void ImageDataLayerPrefetch<float>(void* layer_pointer);
template class ImageDataLayer<float>;

}  // namespace caffe
