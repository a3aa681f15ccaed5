// Every function of ozna.h with an empty body. Compiled with debug information, it holds the binary
// interface that the header promises and nothing of the inside, which is free to change; a test
// sees to it that libozna.so defines the same functions.

#include "ozna.h"

namespace oznalib {

DetectorParams::DetectorParams() = default;
DetectorParams::DetectorParams(const char* const&, const char* const&) {}
DetectorParams::DetectorParams(const DetectorParams&) = default;
DetectorParams& DetectorParams::operator=(const DetectorParams&) = default;
DetectorParams::~DetectorParams() = default;

Detector::Detector() = default;
Detector::~Detector() = default;
Detector& Detector::operator=(const Detector&) = default;
const void* Detector::getDetector() const { return nullptr; }
bool Detector::is_loaded() const { return false; }
Status Detector::load(const DetectorParams&) { return StatusOk; }
Status Detector::load() { return StatusOk; }
void Detector::unload() {}

Status loadDetector(Detector&, const DetectorParams&) { return StatusOk; }
Status loadDetector(Detector&) { return StatusOk; }
void unloadDetector(Detector&) {}
Status detect(const Image&, const Detector&, std::vector<Detection>& detections,
              const CascadeParameter&) {
  detections.emplace_back();  // The compiler describes what is used.
  return StatusOk;
}
Status loadSDMModel(const std::string&, const std::string&) { return StatusOk; }
Status unloadSDMModel() { return StatusOk; }
Status align68Points(const Image&, const Rectangle<float>&, std::vector<float>&) {
  return StatusOk;
}
Status align5Points(const Image&, const Rectangle<float>&, std::vector<float>&) { return StatusOk; }

}  // namespace oznalib
