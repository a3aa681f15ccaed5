// FileBuffer: the bytes of a file for an input stream, without an allocation.

#include "caffe/util/file_buffer.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace caffe {

int OpenForReading(const char* path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  struct stat status;
  if (fd != -1 && fstat(fd, &status) == 0 && S_ISDIR(status.st_mode)) {
    close(fd);
    errno = EISDIR;
    return -1;
  }
  return fd;
}

FileBuffer::FileBuffer(const std::string& path) : FileBuffer(OpenForReading(path.c_str())) {}

FileBuffer::FileBuffer(int fd) : fd_(fd) {}

FileBuffer::~FileBuffer() {
  if (fd_ != -1) {
    close(fd_);
  }
}

std::streamsize FileBuffer::readSome(char* bytes, std::streamsize count) {
  ssize_t got;
  do {
    got = read(fd_, bytes, static_cast<std::size_t>(count));
  } while (got == -1 && errno == EINTR);
  return std::max<std::streamsize>(got, 0);
}

FileBuffer::int_type FileBuffer::underflow() {
  const std::streamsize got = readSome(bytes_.data(), static_cast<std::streamsize>(bytes_.size()));
  setg(bytes_.data(), bytes_.data(), bytes_.data() + got);
  return got == 0 ? traits_type::eof() : traits_type::to_int_type(*gptr());
}

// What is buffered goes first; the rest of a large block goes to its place without a copy.
std::streamsize FileBuffer::xsgetn(char* bytes, std::streamsize count) {
  std::streamsize done = 0;
  while (done < count) {
    if (gptr() == egptr() && count - done >= static_cast<std::streamsize>(bytes_.size())) {
      const std::streamsize got = readSome(bytes + done, count - done);
      if (got == 0) {
        break;
      }
      done += got;
      continue;
    }
    if (gptr() == egptr() && traits_type::eq_int_type(underflow(), traits_type::eof())) {
      break;
    }
    const std::streamsize part = std::min<std::streamsize>(egptr() - gptr(), count - done);
    std::memcpy(bytes + done, gptr(), static_cast<std::size_t>(part));
    setg(eback(), gptr() + part, egptr());
    done += part;
  }
  return done;
}

FileBuffer::pos_type FileBuffer::seekoff(off_type offset, std::ios_base::seekdir way,
                                         std::ios_base::openmode which) {
  if ((which & std::ios_base::in) == 0) {
    return pos_type(off_type(-1));
  }
  if (way == std::ios_base::cur) {
    const off_type at = lseek(fd_, 0, SEEK_CUR);
    const off_type buffered = egptr() - gptr();
    if (at == -1 || offset == 0) {
      return pos_type(at == -1 ? at : at - buffered);
    }
    off_type target;
    if (__builtin_add_overflow(at - buffered, offset, &target)) {
      return pos_type(off_type(-1));
    }
    return seekpos(pos_type(target), which);
  }
  const off_type at = lseek(fd_, offset, way == std::ios_base::end ? SEEK_END : SEEK_SET);
  if (at != -1) {
    setg(nullptr, nullptr, nullptr);
  }
  return pos_type(at);
}

FileBuffer::pos_type FileBuffer::seekpos(pos_type position, std::ios_base::openmode which) {
  return seekoff(off_type(position), std::ios_base::beg, which);
}

}  // namespace caffe
