// Blob: shape, lazily allocated values and gradients, and their form in messages.

#include "caffe/blob.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "caffe/common.hpp"

namespace caffe {

namespace {

// ----------------------------------------------------------------------------
// Shape.

// The product of four sizes, none negative. Fatal if it does not fit into 32 bits: a wrapped count
// would pass for a small blob and let everybody write past its end.
int CheckedCount(int num, int channels, int height, int width) {
  const int sizes[] = {num, channels, height, width};
  std::int64_t count = 1;
  if (std::find(std::begin(sizes), std::end(sizes), 0) != std::end(sizes)) {
    return 0;
  }
  for (const int size : sizes) {
    count *= size;
    CHECK_LE(count, std::numeric_limits<int>::max())
        << "Blob too large: " << num << " x " << channels << " x " << height << " x " << width;
  }
  return static_cast<int>(count);
}

}  // namespace

template <typename Dtype>
Blob<Dtype>::Blob() : num_(0), channels_(0), height_(0), width_(0), count_(0) {}

template <typename Dtype>
Blob<Dtype>::Blob(int num, int channels, int height, int width) : Blob() {
  Reshape(num, channels, height, width);
}

template <typename Dtype>
void Blob<Dtype>::Reshape(int num, int channels, int height, int width) {
  CHECK_GE(num, 0);
  CHECK_GE(channels, 0);
  CHECK_GE(height, 0);
  CHECK_GE(width, 0);
  count_ = CheckedCount(num, channels, height, width);
  num_ = num;
  channels_ = channels;
  height_ = height;
  width_ = width;
  if (count_ == 0) {
    data_.reset();
    diff_.reset();
    return;
  }
  data_.reset(new SyncedMemory(count_ * sizeof(Dtype)));
  diff_.reset(new SyncedMemory(count_ * sizeof(Dtype)));
}

template <typename Dtype>
void Blob<Dtype>::OverwriteShape(int num, int channels, int height, int width) {
  num_ = num;
  channels_ = channels;
  height_ = height;
  width_ = width;
  // Unsigned, so that absurd sizes wrap instead of being undefined; keeping within the blocks is
  // the caller's.
  count_ = static_cast<int>(static_cast<unsigned>(height) * static_cast<unsigned>(width) *
                            static_cast<unsigned>(num) * static_cast<unsigned>(channels));
}

// The lower bounds of the last three axes test the extent and not the argument, so that callers may
// step backwards from a position; only the first axis is held to its start.
template <typename Dtype>
int Blob<Dtype>::offset(int n, int c, int h, int w) const {
  CHECK_GE(n, 0);
  CHECK_LE(n, num_);
  CHECK_GE(channels_, 0);
  CHECK_LE(c, channels_);
  CHECK_GE(height_, 0);
  CHECK_LE(h, height_);
  CHECK_GE(width_, 0);
  CHECK_LE(w, width_);
  return ((n * channels_ + c) * height_ + h) * width_ + w;
}

// ----------------------------------------------------------------------------
// Memory.

template <typename Dtype>
const Dtype* Blob<Dtype>::cpu_data() const {
  CHECK(data_);
  return static_cast<const Dtype*>(data_->cpu_data());
}

template <typename Dtype>
const Dtype* Blob<Dtype>::cpu_diff() const {
  CHECK(diff_);
  return static_cast<const Dtype*>(diff_->cpu_data());
}

template <typename Dtype>
Dtype* Blob<Dtype>::mutable_cpu_data() {
  CHECK(data_);
  if (data_->frozen()) {
    const boost::shared_ptr<SyncedMemory> own(new SyncedMemory(data_->size()));
    std::memcpy(own->mutable_cpu_data(), data_->cpu_data(), data_->size());
    data_ = own;
  }
  return static_cast<Dtype*>(data_->mutable_cpu_data());
}

template <typename Dtype>
Dtype* Blob<Dtype>::mutable_cpu_diff() {
  CHECK(diff_);
  return static_cast<Dtype*>(diff_->mutable_cpu_data());
}

template <typename Dtype>
const boost::shared_ptr<SyncedMemory>& Blob<Dtype>::data() const {
  CHECK(data_);
  return data_;
}

template <typename Dtype>
const boost::shared_ptr<SyncedMemory>& Blob<Dtype>::diff() const {
  CHECK(diff_);
  return diff_;
}

template <typename Dtype>
void Blob<Dtype>::set_cpu_data(Dtype* data) {
  CHECK(data);
  CHECK(data_);
  if (data_->frozen()) data_.reset(new SyncedMemory(data_->size()));
  data_->set_cpu_data(data);
}

template <typename Dtype>
void Blob<Dtype>::ReleaseData() {
  CHECK(data_);
  if (data_->frozen()) {
    data_.reset(new SyncedMemory(data_->size()));
  } else {
    data_->Release();
  }
}

template <typename Dtype>
void Blob<Dtype>::ShareData(const Blob& other) {
  CHECK_EQ(count_, other.count());
  data_ = other.data();
}

template <typename Dtype>
void Blob<Dtype>::ShareDiff(const Blob& other) {
  CHECK_EQ(count_, other.count());
  diff_ = other.diff();
}

// ----------------------------------------------------------------------------
// Messages.

template <typename Dtype>
void Blob<Dtype>::FromProto(const BlobProto& proto) {
  Reshape(proto.num(), proto.channels(), proto.height(), proto.width());
  if (count_ > 0) data_->Provide();
  Dtype* values = mutable_cpu_data();  // Ends the process for a proto without elements.
  CHECK_GE(proto.data_size(), count_)
      << "Too few values for a blob of shape " << num_ << " x " << channels_ << " x " << height_
      << " x " << width_ << ": expected " << count_ << ", found " << proto.data_size();
  std::copy_n(proto.data().begin(), count_, values);
  if (proto.diff_size() == 0) {
    return;
  }
  CHECK_GE(proto.diff_size(), count_)
      << "Too few gradients for a blob of shape " << num_ << " x " << channels_ << " x " << height_
      << " x " << width_ << ": expected " << count_ << ", found " << proto.diff_size();
  std::copy_n(proto.diff().begin(), count_, mutable_cpu_diff());
}

template <typename Dtype>
void Blob<Dtype>::ToProto(BlobProto* proto, bool write_diff) const {
  proto->set_num(num_);
  proto->set_channels(channels_);
  proto->set_height(height_);
  proto->set_width(width_);
  proto->clear_data();
  proto->clear_diff();
  const Dtype* values = cpu_data();
  proto->mutable_data()->Add(values, values + count_);
  if (write_diff) {
    const Dtype* gradients = cpu_diff();
    proto->mutable_diff()->Add(gradients, gradients + count_);
  }
}

template class Blob<float>;
// The record of an input's shape needs no more than construction and reshaping.
template Blob<unsigned char>::Blob();
template Blob<unsigned char>::Blob(int num, int channels, int height, int width);
template void Blob<unsigned char>::Reshape(int num, int channels, int height, int width);
template void Blob<unsigned char>::OverwriteShape(int num, int channels, int height, int width);

}  // namespace caffe
