/// Fillers: the first values of parameter blobs.

#ifndef CAFFE_FILLER_HPP_
#define CAFFE_FILLER_HPP_

#include "caffe/blob.hpp"
#include "caffe/common.hpp"

namespace caffe {

/// Writes first values into a blob with at least one element. An empty blob is fatal.
template <typename Dtype>
class Filler {
 public:
  explicit Filler(const FillerParameter& param) : filler_param_(param) {}
  virtual ~Filler() {}
  virtual void Fill(Blob<Dtype>* blob) = 0;

 protected:
  FillerParameter filler_param_;
};

/// Every element becomes value.
template <typename Dtype>
class ConstantFiller : public Filler<Dtype> {
 public:
  using Filler<Dtype>::Filler;
  void Fill(Blob<Dtype>* blob) override;
};

/// Uniform between min and max.
template <typename Dtype>
class UniformFiller : public Filler<Dtype> {
 public:
  using Filler<Dtype>::Filler;
  void Fill(Blob<Dtype>* blob) override;
};

/// Normal with mean and std. With sparse at 0 or above, each element is kept with probability
/// sparse / height and becomes 0 otherwise; the blob then has num and channels 1.
template <typename Dtype>
class GaussianFiller : public Filler<Dtype> {
 public:
  using Filler<Dtype>::Filler;
  void Fill(Blob<Dtype>* blob) override;

 protected:
  shared_ptr<SyncedMemory> rand_vec_;  // The mask, one int an element.
};

/// Uniform between 0 and 1, then divided so that the values of each image sum to 1.
template <typename Dtype>
class PositiveUnitballFiller : public Filler<Dtype> {
 public:
  using Filler<Dtype>::Filler;
  void Fill(Blob<Dtype>* blob) override;
};

/// Uniform between -s and s with s = sqrt(3 / fan_in), fan_in = count / num.
/// Source: X. Glorot and Y. Bengio, Understanding the difficulty of training deep feedforward
/// neural networks, 2010.
template <typename Dtype>
class XavierFiller : public Filler<Dtype> {
 public:
  using Filler<Dtype>::Filler;
  void Fill(Blob<Dtype>* blob) override;
};

/// Makes the filler that the type names, an exact match. The caller owns it. An unknown name is
/// fatal.
Filler<float>* GetFiller(const FillerParameter& param);

/// A new blob of this shape with the first values that param asks for.
shared_ptr<Blob<float>> MakeFilledBlob(int num, int channels, int height, int width,
                                       const FillerParameter& param);

}  // namespace caffe

#endif  // CAFFE_FILLER_HPP_
