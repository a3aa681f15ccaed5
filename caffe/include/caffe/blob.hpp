/// Blob: the four-dimensional tensor of the network runtime.

#ifndef CAFFE_BLOB_HPP_
#define CAFFE_BLOB_HPP_

#include <boost/shared_ptr.hpp>

#include "caffe/proto/caffe.pb.h"
#include "caffe/syncedmem.hpp"

namespace caffe {

/// A dense array in the order (num, channels, height, width), row-major with width fastest, and its
/// gradient.
///
/// Memory: both blocks are allocated, zero-filled, on first access, so that an untouched gradient
/// costs nothing. Resizing a network in place (Net::AlterInputShape) writes the five shape fields
/// directly and leaves the blocks as they are. So count() may be smaller than what the blocks hold,
/// never larger, and the fields are public.
///
/// Errors: a misuse named at a member is a fatal check.
///
/// Threads: no locks. Not even the const accessors may be shared on a fresh blob, since the first
/// one allocates.
///
/// Blob<unsigned char> is a record of a shape: it has the constructors, Reshape, OverwriteShape and
/// the sizes, and its values are never touched.
template <typename Dtype>
class Blob {
 public:
  Blob();
  Blob(int num, int channels, int height, int width);
  Blob(const Blob&) = delete;
  Blob& operator=(const Blob&) = delete;

  /// Sets the shape and drops the old blocks, whatever their size: values are lost. A negative
  /// size, and a product above 2^31 - 1, is fatal.
  void Reshape(int num, int channels, int height, int width);

  /// Writes the shape fields alone, for a shape that is no larger than the blocks. Nothing is
  /// allocated.
  void OverwriteShape(int num, int channels, int height, int width);

  int num() const { return num_; }
  int channels() const { return channels_; }
  int height() const { return height_; }
  int width() const { return width_; }
  int count() const { return count_; }

  /// Flat index of an element. Bounds are checked inclusively: an index equal to its extent passes,
  /// since callers form end positions with it.
  int offset(int n, int c = 0, int h = 0, int w = 0) const;

  /// The values and gradients, count() of each. A blob without elements has none: a fatal check.
  /// Values that are frozen, since other blobs hold them too (util/shared_values.hpp), are copied
  /// when they are first asked for to be written.
  const Dtype* cpu_data() const;
  const Dtype* cpu_diff() const;
  Dtype* mutable_cpu_data();
  Dtype* mutable_cpu_diff();

  /// The holders of the blocks; both are shared after ShareData and ShareDiff.
  const boost::shared_ptr<SyncedMemory>& data() const;
  const boost::shared_ptr<SyncedMemory>& diff() const;

  /// Lets the values live in memory of the caller, count() elements, which must outlive its use
  /// here.
  void set_cpu_data(Dtype* data);

  /// Gives the memory of the values back, if it is an own one: they read as zeros until they are
  /// written again. Other holders of frozen values keep those.
  void ReleaseData();

  /// Makes the values (gradients) the same memory as those of other, which has the same count.
  void ShareData(const Blob& other);
  void ShareDiff(const Blob& other);

  /// Takes shape and values, and gradients if there are any; values beyond the shape are ignored.
  /// A proto with fewer values than its shape, or of a shape without elements, is fatal.
  void FromProto(const BlobProto& proto);
  /// Writes shape and values, and gradients if write_diff is set. A blob without elements is fatal.
  void ToProto(BlobProto* proto, bool write_diff = false) const;

  boost::shared_ptr<SyncedMemory> data_;  // Null while count_ is 0.
  boost::shared_ptr<SyncedMemory> diff_;  // Null while count_ is 0.
  int num_;
  int channels_;
  int height_;
  int width_;
  int count_;  // num_ * channels_ * height_ * width_.
};

}  // namespace caffe

#endif  // CAFFE_BLOB_HPP_
