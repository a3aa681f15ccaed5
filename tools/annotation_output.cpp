// Names and files of annotated photographs.

#include "tools/annotation_output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <system_error>

#include "tools/exit_code.h"
#include "tools/streams.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
  throw Failure(kExitOutput, printable(path) + ": " + reason);
}

// Whether an image format goes by the ending of this name.
bool namesImageFormat(const fs::path& name) {
  return name.has_extension() && cv::haveImageWriter(name.filename().string());
}

bool isDirectoryTarget(const std::string& target, size_t photograph_count) {
  std::error_code error;
  return photograph_count > 1 || (!target.empty() && target.back() == '/') ||
         fs::is_directory(target, error);
}

std::vector<uchar> encode(const std::string& name, const std::string& ending,
                          const cv::Mat& pixels) {
  std::vector<uchar> bytes;
  bool encoded = false;
  {
    const QuietStandardError quiet;
    try {
      encoded = cv::imencode(ending, pixels, bytes);
    } catch (const cv::Exception&) {
      // Some formats have no room for so many pixels.
    }
  }
  if (!encoded) fail(name, "this image cannot be written as " + ending);
  return bytes;
}

// The name-th file name for a photograph in a directory, counted from 1.
std::string numbered(const fs::path& name, int number) {
  if (number == 1) return name.string();
  return name.stem().string() + "-" + std::to_string(number) + name.extension().string();
}

// Opens a new file in a directory under the first name that is free, which it returns in path.
int openFreeName(const std::string& directory, const fs::path& name, std::string* path) {
  for (int number = 1;; ++number) {
    *path = (fs::path(directory) / numbered(name, number)).string();
    const int descriptor = open(path->c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor != -1 || errno != EEXIST) return descriptor;
  }
}

// Returns 0 or the number of the error. Closes the descriptor.
int writeAndClose(int descriptor, const std::vector<uchar>& bytes) {
  int error = 0;
  for (size_t written = 0; written < bytes.size() && error == 0;) {
    const ssize_t count = write(descriptor, bytes.data() + written, bytes.size() - written);
    if (count >= 0) written += static_cast<size_t>(count);
    if (count == -1 && errno != EINTR) error = errno;
  }
  // A network file system may tell only now that there was no room.
  if (close(descriptor) == -1 && error == 0) error = errno;
  return error;
}

void removeRegularFile(const std::string& path) {
  std::error_code error;
  if (fs::is_regular_file(path, error)) fs::remove(path, error);
}

}  // namespace

AnnotationOutput::AnnotationOutput(const std::string& target,
                                   const std::vector<std::string>& photographs)
    : target_(target), is_directory_(isDirectoryTarget(target, photographs.size())) {
  std::error_code error;
  if (is_directory_) {
    fs::create_directories(target, error);
    if (!fs::is_directory(target, error)) fail(target, "is not a directory and cannot be made one");
    return;
  }
  if (fs::equivalent(target, photographs.front(), error)) {
    throw Failure(kExitUsage,
                  "--annotate " + printable(target) + " would overwrite the photograph");
  }
  if (!namesImageFormat(target))
    fail(target, "its ending names no image format that can be written");
  const fs::path directory = fs::path(target).parent_path();
  if (!directory.empty() && !fs::is_directory(directory, error))
    fail(target, "its directory does not exist");
}

void AnnotationOutput::write(const std::string& photograph, cv::Mat& pixels) const {
  cv::cvtColor(pixels, pixels, cv::COLOR_RGB2BGR);
  fs::path name = fs::path(is_directory_ ? photograph : target_).filename();
  if (!namesImageFormat(name)) name += ".png";
  const std::vector<uchar> bytes = encode(name.string(), name.extension().string(), pixels);

  std::string path = target_;
  const int descriptor = is_directory_
                             ? openFreeName(target_, name, &path)
                             : open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (descriptor == -1) fail(path, std::strerror(errno));
  const int error = writeAndClose(descriptor, bytes);
  if (error == 0) return;
  removeRegularFile(path);
  fail(path, std::strerror(error));
}

}  // namespace oznatool
