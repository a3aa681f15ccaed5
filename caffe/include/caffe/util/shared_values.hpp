/// Equal values of several blobs of one process, held once.

#ifndef CAFFE_UTIL_SHARED_VALUES_HPP_
#define CAFFE_UTIL_SHARED_VALUES_HPP_

#include <boost/shared_ptr.hpp>

#include "caffe/blob.hpp"
#include "caffe/syncedmem.hpp"

namespace caffe {

/// Lets the values of a blob be those of an earlier one that is still alive, where all bytes are
/// equal; keeps them for later ones otherwise. The values are frozen from here on: a blob that is
/// written to takes a copy of its own first (Blob::mutable_cpu_data).
///
/// What is compared are the values themselves and not the name of a file, which may hold others by
/// the next time.
///
/// Owners   The values go with the last blob that holds them.
/// Threads  Any number at once, beside reads of blobs that hold the same values; the blob itself
///          belongs to the caller.
/// Cost     One comparison with each kept block of the same length, to its first difference.
void ShareEqualValues(Blob<float>* blob);

/// The same for a frozen block of values: returns an equal one that is alive, or the block itself.
boost::shared_ptr<SyncedMemory> SharedEqual(const boost::shared_ptr<SyncedMemory>& values);

}  // namespace caffe

#endif  // CAFFE_UTIL_SHARED_VALUES_HPP_
