// Detector boxes for training and for measuring.

#include "training/alignment/face_boxes.h"

#include <stdexcept>

#include "training/common/search.h"

namespace alignment_training {
oznalib::Image viewOf(const cv::Mat& rgb) {
  return {rgb.cols, rgb.rows, static_cast<std::int32_t>(rgb.step), rgb.data};
}

BoxFinder::BoxFinder(const std::string& models) {
  const std::string root = models + "/";
  const char* folder = root.c_str();
  const char* list = "stages.txt";
  const oznalib::DetectorParams params(folder, list);
  if (detector_.load(params) != oznalib::StatusOk) {
    throw std::runtime_error("no cascade in " + models);
  }
}

std::vector<FaceRect> BoxFinder::find(const cv::Mat& rgb) {
  std::vector<oznalib::Detection> detections;
  oznalib::detect(viewOf(rgb), detector_, detections, training::kSearch);
  std::vector<FaceRect> boxes;
  for (const oznalib::Detection& detection : detections) boxes.push_back(detection.rect);
  return boxes;
}

}  // namespace alignment_training
