// Readers of messages in their text and binary form.

#include "caffe/util/io.hpp"

#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/message.h>
#include <google/protobuf/text_format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <istream>
#include <string>

#include "caffe/common.hpp"
#include "caffe/proto/caffe.pb.h"
#include "caffe/util/file_blocks.hpp"
#include "caffe/util/file_buffer.hpp"

namespace caffe {

namespace {

// What the message library knows of the schema it works out at the first text that it reads, and an
// allocation that fails in the middle of that leaves it broken for the rest of the process. So it
// is done when the library is loaded, where memory that ends does not pass unnoticed.
bool WorkOutSchema() {
  const google::protobuf::FileDescriptor& file = *NetParameter::descriptor()->file();
  for (int i = 0; i < file.message_type_count(); ++i) {
    const google::protobuf::Descriptor* message = file.message_type(i);
    google::protobuf::MessageFactory::generated_factory()->GetPrototype(message);
    for (int j = 0; j < message->field_count(); ++j) {
      message->field(j)->message_type();
      message->field(j)->enum_type();
    }
  }
  return true;
}

[[maybe_unused]] const bool schema_is_worked_out = WorkOutSchema();

const int kMaxBytes = 1073741824;
const int kWarnBytes = 536870912;

// A descriptor of a file, closed at the end of its scope. A file that cannot be opened is fatal.
class OpenFile {
 public:
  explicit OpenFile(const char* filename) {
    const int fd = OpenForReading(filename);
    CHECK_NE(fd, -1) << "File not found: " << filename;
    fd_ = fd;
  }
  ~OpenFile() { close(fd_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int fd() const { return fd_; }
  off_t size_bytes() const {
    struct stat status;
    return fstat(fd_, &status) == 0 ? status.st_size : 0;
  }

 private:
  int fd_;
};

}  // namespace

bool ReadProtoFromTextFile(const char* filename, google::protobuf::Message* proto) {
  const int fd = OpenForReading(filename);
  CHECK_NE(fd, -1) << "File not found: " << filename;
  FileBuffer file(fd);
  std::istream stream(&file);
  stream.exceptions(std::ios::badbit);  // Of the lines, which take memory.
  std::string text;
  std::string line;
  while (stream) {
    line.clear();  // getline leaves it alone at the end of an unfinished last line.
    std::getline(stream, line);
    text += line;
    text += '\n';
  }
  return google::protobuf::TextFormat::ParseFromString(text, proto);
}

bool ReadProtoFromBinaryFile(const char* filename, google::protobuf::Message* proto) {
  const OpenFile file(filename);
  if (file.size_bytes() > kWarnBytes) {
    LOG(WARNING) << "Reading dangerously large protocol message: " << filename << " has "
                 << file.size_bytes() << " bytes, and reading stops at " << kMaxBytes << ".";
  }
  // In one piece, where it is not huge: an array of weights is then taken with its final length, in
  // place of growing from one to the next.
  FileBlocks raw_input(file.fd(), std::clamp<std::size_t>(file.size_bytes(), 1 << 13, 1 << 24));
  bool parsed = false;
  {
    google::protobuf::io::CodedInputStream coded_input(&raw_input);
    coded_input.SetTotalBytesLimit(kMaxBytes);
    parsed = proto->ParseFromCodedStream(&coded_input) && coded_input.ConsumedEntireMessage();
  }
  // To the parser, the limit and a read error look like the end of the file. Weights of which a
  // part is missing must not pass, so both are asked for.
  const void* rest;
  int rest_size;
  return parsed && !raw_input.Next(&rest, &rest_size) && raw_input.error() == 0;
}

}  // namespace caffe
