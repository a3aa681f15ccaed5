// Image files to pixels in the library's channel order.

#include "training/common/photograph.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>

namespace training {

cv::Mat readPhotoRgb(const std::string& path) {
  cv::Mat photo = cv::imread(path, cv::IMREAD_COLOR);
  if (photo.empty()) throw std::runtime_error("cannot read " + path);
  cv::cvtColor(photo, photo, cv::COLOR_BGR2RGB);
  return photo;
}

}  // namespace training
