// ImageDataLayer: images of the caller, prepared a batch ahead on a thread.

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <string>

#include "caffe/data_layers.hpp"
#include "caffe/util/datum_transform.hpp"
#include "caffe/util/math_functions.hpp"

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
  const int side = layer->layer_param_.image_data_param().new_height();
  const int lines_size = static_cast<int>(layer->activeImagePtrs_.size());
  layer->prefetcher_.Fill(
      [layer, side, lines_size](Datum* datum) {
        CHECK_GT(lines_size, layer->lines_id_);
        if (!ReadImageToDatum(*layer->activeImagePtrs_[layer->lines_id_], side, side, datum)) {
          return false;
        }
        layer->lines_id_ = layer->lines_id_ + 1 < lines_size ? layer->lines_id_ + 1 : 0;
        return true;
      },
      [layer] { return layer->PrefetchRand(); });
}

template <typename Dtype>
ImageDataLayer<Dtype>::ImageDataLayer(const LayerParameter& param)
    : Layer<Dtype>(param), prefetcher_(BatchParameter::Of(param.image_data_param())) {}

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
  prefetcher_.SetUp(datum, *top);
  CreatePrefetchThread();
}

template <typename Dtype>
void ImageDataLayer<Dtype>::CreatePrefetchThread() {
  prefetcher_.Start(ImageDataLayerPrefetch<Dtype>, this,
                    /*always_draws=*/this->layer_param_.image_data_param().shuffle());
}

template <typename Dtype>
void ImageDataLayer<Dtype>::JoinPrefetchThread() {
  prefetcher_.Join();
}

template <typename Dtype>
unsigned int ImageDataLayer<Dtype>::PrefetchRand() {
  return prefetcher_.Rand();
}

template <typename Dtype>
Dtype ImageDataLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& /*bottom*/,
                                         vector<Blob<Dtype>*>* top) {
  JoinPrefetchThread();
  prefetcher_.CopyTo(*top);
  CreatePrefetchThread();
  return Dtype(0);
}

template void ImageDataLayerPrefetch<float>(void* layer_pointer);
template class ImageDataLayer<float>;

}  // namespace caffe
