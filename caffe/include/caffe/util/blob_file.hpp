/// Reading of one blob, such as a mean image, from a file of its own.

#ifndef CAFFE_UTIL_BLOB_FILE_HPP_
#define CAFFE_UTIL_BLOB_FILE_HPP_

#include "caffe/common.hpp"
#include "caffe/proto/caffe.pb.h"
#include "caffe/util/io.hpp"

namespace caffe {

/// Reads a BlobProto from a binary file. A file that is missing or does not parse is fatal.
inline void ReadBlobFromFile(const char* filename, BlobProto* proto) {
  CHECK(ReadProtoFromBinaryFile(filename, proto)) << filename;
}

}  // namespace caffe

#endif  // CAFFE_UTIL_BLOB_FILE_HPP_
