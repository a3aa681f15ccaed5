/// Insertion of split layers after blobs with several consumers.

#ifndef CAFFE_UTIL_INSERT_SPLITS_HPP_
#define CAFFE_UTIL_INSERT_SPLITS_HPP_

#include "caffe/proto/caffe.pb.h"

namespace caffe {

/// Copies param into param_split with a split layer right after each producer of a blob that
/// several layers read, so that every consumer has a blob of its own. A bottom that nothing
/// produces is fatal.
void InsertSplits(const NetParameter& param, NetParameter* param_split);

}  // namespace caffe

#endif  // CAFFE_UTIL_INSERT_SPLITS_HPP_
