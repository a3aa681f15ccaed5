// Photograph files: bytes, decoding, pixel format.

#include "tools/photograph.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

#include "tools/exit_code.h"
#include "tools/jpeg_structure.h"
#include "tools/streams.h"

namespace oznatool {
namespace {

constexpr size_t kLargestFile = size_t{1} << 30;  // In bytes. The decoder counts them in an int.

// A descriptor that closes itself.
class File {
 public:
  explicit File(const std::string& path) : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~File() {
    if (descriptor_ != -1) close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
  throw Failure(kExitPhotographs, printable(path) + ": " + reason);
}

std::vector<uchar> readBytes(const std::string& path) {
  const File file(path);
  struct stat status;
  if (file.descriptor() == -1 || fstat(file.descriptor(), &status) == -1)
    fail(path, std::strerror(errno));
  if (S_ISDIR(status.st_mode)) fail(path, "is a directory");

  // The size is a hint for the first allocation only: a pipe has none.
  const size_t size_hint = S_ISREG(status.st_mode) ? static_cast<size_t>(status.st_size) : 0;
  if (size_hint > kLargestFile) fail(path, "is larger than 1 GiB");
  std::vector<uchar> bytes(size_hint + 65536);
  size_t filled = 0;
  while (true) {
    if (filled == bytes.size()) bytes.resize(2 * bytes.size());
    const ssize_t count = read(file.descriptor(), bytes.data() + filled, bytes.size() - filled);
    if (count == -1 && errno == EINTR) continue;
    if (count == -1) fail(path, std::strerror(errno));
    if (count == 0) break;
    filled += static_cast<size_t>(count);
    if (filled > kLargestFile) fail(path, "is larger than 1 GiB");
  }
  bytes.resize(filled);
  if (bytes.empty()) fail(path, "is empty");
  return bytes;
}

// Decodes into three 8-bit channels, blue first. Empty where no decoder takes the bytes.
cv::Mat decode(const std::vector<uchar>& bytes) {
  const QuietStandardError quiet;
  return cv::imdecode(bytes, cv::IMREAD_COLOR);
}

}  // namespace

oznalib::Image Photograph::image() const { return {pixels.cols, pixels.rows, 0, pixels.data}; }

Photograph readPhotograph(const std::string& path) {
  try {
    const std::vector<uchar> bytes = readBytes(path);
    // The JPEG decoder fills the missing part with grey and reports success.
    if (isJpegCutShort(bytes.data(), bytes.size())) fail(path, "is cut short");
    cv::Mat pixels = decode(bytes);
    if (pixels.empty() || pixels.type() != CV_8UC3) {
      fail(path, "is damaged or not in a known image format");
    }
    cv::cvtColor(pixels, pixels, cv::COLOR_BGR2RGB);
    if (!pixels.isContinuous()) pixels = pixels.clone();
    return {path, pixels};
  } catch (const cv::Exception&) {
    fail(path, "is damaged or has too many pixels");
  } catch (const std::bad_alloc&) {
    fail(path, "does not fit in memory");
  }
}

}  // namespace oznatool
