// Alignment of a data folder and the errors of the outcome.

#include "training/alignment/evaluation.h"

#include <algorithm>
#include <cmath>

#include "alignment/landmark_groups.h"
#include "kit/faces/head_pose.h"
#include "ozna.h"
#include "training/alignment/face_boxes.h"
#include "training/alignment/sampler.h"
#include "training/common/parallel_for.h"
#include "training/common/photograph.h"

namespace alignment_training {
namespace {

float errorOfFive(const std::vector<float>& found, const Shape& truth) {
  const std::vector<float> wanted = oznalib::groupCentres(truth);
  double sum = 0;
  for (std::size_t i = 0; i + 1 < found.size(); i += 2) {
    sum += std::hypot(found[i] - wanted[i], found[i + 1] - wanted[i + 1]);
  }
  return static_cast<float>(2 * sum / static_cast<double>(found.size()) / outerEyeDistance(truth));
}

MeasuredFace measureFace(const cv::Mat& rgb, const LandmarkFace& face, const FaceRect& rect) {
  MeasuredFace measured;
  measured.manual = face.manual;
  measured.rect = rect;
  measured.yaw = kit::headPose(face.points).yaw;
  std::vector<float> five;
  oznalib::align68Points(viewOf(rgb), rect, measured.points);
  oznalib::align5Points(viewOf(rgb), rect, five);
  measured.error68 = normalisedError(measured.points, face.points);
  measured.error5 = errorOfFive(five, face.points);
  return measured;
}

}  // namespace

std::vector<MeasuredFace> measureFaces(const std::string& folder,
                                       const std::vector<LandmarkFace>& faces,
                                       const BoxTable& boxes, const RectNoise& noise,
                                       std::uint64_t seed, int threads) {
  std::vector<MeasuredFace> measured(faces.size());
  training::parallelFor(static_cast<int>(faces.size()), threads, [&](int index) {
    const LandmarkFace& face = faces[index];
    const auto known = boxes.find(face.image);
    const auto [rect, is_detected] = evaluationRect(
        known == boxes.end() ? std::vector<FaceRect>() : known->second, face, noise, seed, index);
    measured[index] = measureFace(training::readPhotoRgb(folder + "/" + face.image), face, rect);
    measured[index].face = index;
    measured[index].detected = is_detected;
  });
  return measured;
}

double shareUnder(const std::vector<MeasuredFace>& measured, double limit) {
  if (measured.empty()) return 0;
  const auto under = std::count_if(measured.begin(), measured.end(),
                                   [&](const MeasuredFace& face) { return face.error68 < limit; });
  return static_cast<double>(under) / static_cast<double>(measured.size());
}

ErrorSummary summarise(const std::vector<MeasuredFace>& measured) {
  ErrorSummary summary;
  if (measured.empty()) return summary;
  std::vector<float> errors;
  for (const MeasuredFace& face : measured) {
    errors.push_back(face.error68);
    summary.mean68 += face.error68;
    summary.mean5 += face.error5;
    summary.detected += face.detected ? 1 : 0;
  }
  summary.faces = static_cast<int>(measured.size());
  summary.mean68 /= summary.faces;
  summary.mean5 /= summary.faces;
  const auto middle = errors.begin() + static_cast<std::ptrdiff_t>(errors.size() / 2);
  std::nth_element(errors.begin(), middle, errors.end());
  summary.median68 = *middle;
  summary.under8 = shareUnder(measured, 0.08);
  summary.under10 = shareUnder(measured, 0.10);
  return summary;
}

std::vector<MeasuredFace> onlyQuality(const std::vector<MeasuredFace>& measured, bool manual) {
  std::vector<MeasuredFace> some;
  for (const MeasuredFace& face : measured) {
    if (face.manual == manual) some.push_back(face);
  }
  return some;
}

std::vector<MeasuredFace> onlyYaw(const std::vector<MeasuredFace>& measured, float least,
                                  float limit) {
  std::vector<MeasuredFace> some;
  for (const MeasuredFace& face : measured) {
    const float yaw = std::abs(face.yaw);
    if (yaw >= least && yaw < limit) some.push_back(face);
  }
  return some;
}

}  // namespace alignment_training
