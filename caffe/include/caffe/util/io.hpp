/// Reading of protocol messages from files.

#ifndef CAFFE_UTIL_IO_HPP_
#define CAFFE_UTIL_IO_HPP_

namespace google {
namespace protobuf {
class Message;
}
}  // namespace google

namespace caffe {

/// Parses a text file into proto. Returns whether the text parsed; a file that cannot be opened is
/// fatal.
bool ReadProtoFromTextFile(const char* filename, google::protobuf::Message* proto);

/// Parses a binary file into proto. Returns whether the bytes parsed, all of them: a file above
/// 2^30 bytes, one with a tail that is no field, and one that cannot be read to its end give false.
/// A file above 2^29 bytes draws a warning. A file that cannot be opened is fatal.
bool ReadProtoFromBinaryFile(const char* filename, google::protobuf::Message* proto);

}  // namespace caffe

#endif  // CAFFE_UTIL_IO_HPP_
