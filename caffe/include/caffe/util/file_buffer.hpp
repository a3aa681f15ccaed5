/// FileBuffer: the bytes of a file for an input stream, without an allocation.

#ifndef CAFFE_UTIL_FILE_BUFFER_HPP_
#define CAFFE_UTIL_FILE_BUFFER_HPP_

#include <array>
#include <ios>
#include <streambuf>
#include <string>

namespace caffe {

/// A read-only stream buffer on a descriptor of its own.
///
/// A std::ifstream takes memory when it is opened and when it is read first. Without memory it
/// reports that there is no file, or no further byte, and a model would be loaded in part.
/// This one takes no memory at all. Whoever reads into a container through a stream on it still has
/// to ask that stream for the exceptions of the container, by exceptions(std::ios::badbit); nothing
/// else sets that bit, since a read error counts as the end of the file.
///
/// Threads  One thread at a time.
class FileBuffer : public std::streambuf {
 public:
  /// Opens the file. A folder counts as a file that cannot be opened.
  explicit FileBuffer(const std::string& path);
  /// Takes over a descriptor, or -1 for a file that cannot be opened.
  explicit FileBuffer(int fd);
  ~FileBuffer() override;
  FileBuffer(const FileBuffer&) = delete;
  FileBuffer& operator=(const FileBuffer&) = delete;

  bool isOpen() const { return fd_ != -1; }

 protected:
  int_type underflow() override;
  std::streamsize xsgetn(char* bytes, std::streamsize count) override;
  pos_type seekoff(off_type offset, std::ios_base::seekdir way,
                   std::ios_base::openmode which) override;
  pos_type seekpos(pos_type position, std::ios_base::openmode which) override;

 private:
  // As read(2), once more after a signal; 0 for an error, as at the end.
  std::streamsize readSome(char* bytes, std::streamsize count);

  int fd_;
  std::array<char, 4096> bytes_;
};

/// Opens a file for reading. Returns -1 where it cannot be opened or is a folder, which opens but
/// would read as an empty file.
int OpenForReading(const char* path);

}  // namespace caffe

#endif  // CAFFE_UTIL_FILE_BUFFER_HPP_
