/// The exported entry points: each hands its work to the detector or to the alignment.

#include "ozna.h"

#include <cstddef>
#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

#include "alignment/align5_points.h"
#include "alignment/align68_points.h"
#include "alignment/sdm_model.h"
#include "caffe/common.hpp"
#include "detector/cascade_driver.h"
#include "detector/detector_impl.h"
#include "detector/model_store.h"

namespace oznalib {
namespace {

const char kEmpty[] = "";

void freeImpl(DetectorImpl*& impl) {
  delete impl;
  impl = nullptr;
}

// Replaces what a handle holds by a fresh object. It is in the handle before the load begins, which
// is why a handle counts as loaded after a load that failed.
void replaceImpl(DetectorImpl*& impl) {
  freeImpl(impl);
  caffe::Caffe::set_mode(caffe::Caffe::CPU);
  caffe::Caffe::set_phase(caffe::Caffe::TEST);
  impl = new DetectorImpl;
}

// A header on the caller's pixels. A stride of 0 stands for packed rows here as it does there, and
// a negative one, of an image whose rows go upwards in memory, wraps around to itself.
cv::Mat wrapImage(const Image& image) {
  return cv::Mat(image.height, image.width, CV_8UC3, const_cast<std::uint8_t*>(image.data),
                 static_cast<std::size_t>(static_cast<std::int64_t>(image.stride)));
}

Detection toDetection(const FaceCandidate& candidate) {
  Detection detection;
  detection.rect.left = static_cast<float>(candidate.x);
  detection.rect.top = static_cast<float>(candidate.y);
  detection.rect.right = static_cast<float>(candidate.x + candidate.width);
  detection.rect.bottom = static_cast<float>(candidate.y + candidate.height);
  detection.score = candidate.score;
  return detection;
}

}  // namespace

DetectorParams::DetectorParams() : cascadeRoot(kEmpty), stageListName(kEmpty), reservedFlag(1) {}

DetectorParams::DetectorParams(const char* const& cascadeRoot, const char* const& stageListName)
    : cascadeRoot(cascadeRoot), stageListName(stageListName), reservedFlag(1) {}

DetectorParams::DetectorParams(const DetectorParams& other) = default;

DetectorParams& DetectorParams::operator=(const DetectorParams& other) = default;

DetectorParams::~DetectorParams() = default;

Detector::Detector() : impl_(nullptr) {}

Detector::~Detector() { freeImpl(impl_); }

Detector& Detector::operator=(const Detector& other) {
  impl_ = other.impl_;
  return *this;
}

const void* Detector::getDetector() const { return impl_; }

bool Detector::is_loaded() const { return impl_ != nullptr; }

Status Detector::load(const DetectorParams& params) {
  replaceImpl(impl_);
  return loadFromFiles(params, *impl_);
}

Status Detector::load() {
  replaceImpl(impl_);
  return loadBuiltIn(*impl_);
}

void Detector::unload() { freeImpl(impl_); }

Status loadDetector(Detector& detector, const DetectorParams& params) {
  return detector.load(params);
}

Status loadDetector(Detector& detector) { return detector.load(); }

void unloadDetector(Detector& detector) { freeImpl(detector.impl_); }

Status detect(const Image& image, const Detector& detector, std::vector<Detection>& detections,
              const CascadeParameter& parameter) {
  if (detector.impl_ == nullptr || !detector.impl_->loaded) {
    return StatusNotLoaded;
  }
  const CandidateList faces = runCascade(*detector.impl_, wrapImage(image), parameter);
  for (const FaceCandidate& face : faces.candidates) {
    detections.push_back(toDetection(face));
  }
  return StatusOk;
}

Status loadSDMModel(const std::string& directory, const std::string& file) {
  return loadModelSlot(directory, file);
}

Status unloadSDMModel() { return unloadModelSlot(); }

Status align68Points(const Image& image, const Rectangle<float>& rect, std::vector<float>& points) {
  return placeLandmarks68(image, rect, points);
}

Status align5Points(const Image& image, const Rectangle<float>& rect, std::vector<float>& points) {
  return placeLandmarks5(image, rect, points);
}

}  // namespace oznalib
