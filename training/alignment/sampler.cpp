// Variants of a face: mirrored, turned, under jittered or detected rectangles.

#include "training/alignment/sampler.h"

#include <cmath>
#include <opencv2/imgproc.hpp>

#include "alignment/align68_points.h"
#include "training/alignment/face_boxes.h"
#include "training/common/parallel_for.h"
#include "training/common/photograph.h"

namespace alignment_training {
namespace {

Scene mirrorScene(const Scene& scene) {
  Scene mirrored;
  cv::flip(scene.rgb, mirrored.rgb, /*flipCode=*/1);
  mirrored.points = mirrorShape(scene.points, scene.rgb.cols);
  for (const FaceRect& box : scene.boxes) mirrored.boxes.push_back(mirrorRect(box, scene.rgb.cols));
  return mirrored;
}

/// Turns the photograph about the middle of the face. Boxes do not turn with it, so none is left.
Scene turnScene(const Scene& scene, double degrees) {
  const Extent extent = extentOf(scene.points);
  const cv::Point2f centre(0.5F * (extent.left + extent.right),
                           0.5F * (extent.top + extent.bottom));
  const cv::Mat turn = cv::getRotationMatrix2D(centre, degrees, /*scale=*/1.0);
  Scene turned;
  cv::warpAffine(scene.rgb, turned.rgb, turn, scene.rgb.size(), cv::INTER_LINEAR,
                 cv::BORDER_REPLICATE);
  turned.points.resize(scene.points.size());
  for (int i = 0; i < kLandmarks; ++i) {
    const double x = scene.points[2 * i];
    const double y = scene.points[2 * i + 1];
    for (int row = 0; row < 2; ++row) {
      const double* coefficients = turn.ptr<double>(row);
      turned.points[2 * i + row] =
          static_cast<float>(coefficients[0] * x + coefficients[1] * y + coefficients[2]);
    }
  }
  return turned;
}

void applyGamma(cv::Mat& grey, double gamma) {
  cv::Mat table(1, 256, CV_8U);
  for (int i = 0; i < 256; ++i) {
    table.at<uchar>(i) = cv::saturate_cast<uchar>(255.0 * std::pow(i / 255.0, gamma));
  }
  cv::LUT(grey, table, grey);
}

/// The rectangle of one training variant.
FaceRect drawRect(const Scene& scene, const SamplerOptions& options, std::mt19937_64& random) {
  const FaceRect square = conventionSquare(scene.points);
  const FaceRect* box = bestBox(scene.boxes, square, kLeastOverlap);
  std::uniform_real_distribution<float> uniform(0.0F, 1.0F);
  if (box == nullptr || uniform(random) >= options.box_share) {
    return jitterSquare(square, options.noise, random);
  }
  // A detector that sees a slightly different picture gives a slightly different box.
  const RectNoise tremble{0.3F * options.noise.centre, 0.3F * options.noise.size, 0.0F};
  return jitterSquare(*box, tremble, random);
}

AlignmentSample makeVariant(const Scene& plain, const Scene& mirrored, int variant,
                            const SamplerOptions& options, std::mt19937_64& random) {
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::normal_distribution<double> normal(0.0, 1.0);
  Scene scene = variant % 2 == 0 ? plain : mirrored;  // The pixels are shared.
  if (uniform(random) < options.rotated_share) {
    scene = turnScene(scene, normal(random) * options.rotation_degrees);
  }
  if (uniform(random) < options.cropped_share) scene = cropScene(scene, random);
  AlignmentSample sample =
      makeSample(scene.rgb, drawRect(scene, options, random), scene.points, options.face_width);
  if (uniform(random) < 0.5) {
    applyGamma(sample.grey, std::exp(normal(random) * options.gamma_spread));
  }
  return sample;
}

std::vector<FaceRect> boxesOf(const LandmarkFace& face, const BoxTable& boxes) {
  const auto found = boxes.find(face.image);
  return found == boxes.end() ? std::vector<FaceRect>() : found->second;
}

}  // namespace

std::mt19937_64 generatorFor(std::uint64_t seed, std::uint64_t index) {
  std::seed_seq sequence{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32),
                         static_cast<std::uint32_t>(index),
                         static_cast<std::uint32_t>(index >> 32)};
  return std::mt19937_64(sequence);
}

Scene cropScene(const Scene& scene, std::mt19937_64& random) {
  std::uniform_real_distribution<float> margin(0.0F, 0.4F);
  const Extent extent = extentOf(scene.points);
  const float width = extent.right - extent.left;
  const float height = extent.bottom - extent.top;
  const cv::Point first(static_cast<int>(std::floor(extent.left - margin(random) * width)),
                        static_cast<int>(std::floor(extent.top - margin(random) * height)));
  const cv::Point last(static_cast<int>(std::ceil(extent.right + margin(random) * width)),
                       static_cast<int>(std::ceil(extent.bottom + margin(random) * height)));
  const cv::Rect inside = cv::Rect(first, last) & cv::Rect(0, 0, scene.rgb.cols, scene.rgb.rows);
  Scene cropped;
  cropped.rgb = scene.rgb(inside).clone();  // Packed, as alignment reads them.
  cropped.points = scene.points;
  for (int i = 0; i < kLandmarks; ++i) {
    cropped.points[2 * i] -= static_cast<float>(inside.x);
    cropped.points[2 * i + 1] -= static_cast<float>(inside.y);
  }
  return cropped;
}

AlignmentSample makeSample(const cv::Mat& rgb, const FaceRect& rect, const Shape& points,
                           int face_width) {
  const oznalib::AlignmentWindow window = oznalib::cutAlignmentWindow(viewOf(rgb), rect);
  SDMCore::GeneralUnit unit = oznalib::makeGreyUnit(window);
  unit.shape = oznalib::mapToWindow(window, points);
  unit.normalize(face_width);
  AlignmentSample sample;
  sample.grey = unit.image;
  sample.box = unit.box;
  sample.truth = unit.shape;
  sample.units_x = window.scale_x * unit.scale;
  sample.units_y = window.scale_y * unit.scale;
  return sample;
}

std::vector<AlignmentSample> makeTrainingSamples(const std::string& folder,
                                                 const std::vector<LandmarkFace>& faces,
                                                 const BoxTable& boxes,
                                                 const SamplerOptions& options, int threads) {
  std::vector<std::vector<AlignmentSample>> by_face(faces.size());
  training::parallelFor(static_cast<int>(faces.size()), threads, [&](int index) {
    const LandmarkFace& face = faces[index];
    const Scene plain{training::readPhotoRgb(folder + "/" + face.image), face.points,
                      boxesOf(face, boxes)};
    const Scene mirrored = mirrorScene(plain);
    std::mt19937_64 random = generatorFor(options.seed, index);
    const int variants = face.manual ? options.manual_variants : options.tracked_variants;
    for (int variant = 0; variant < variants; ++variant) {
      AlignmentSample sample = makeVariant(plain, mirrored, variant, options, random);
      sample.face = index;
      sample.manual = face.manual;
      sample.mirrored = variant % 2 != 0;
      by_face[index].push_back(std::move(sample));
    }
  });
  std::vector<AlignmentSample> samples;
  for (std::vector<AlignmentSample>& some : by_face) {
    for (AlignmentSample& sample : some) samples.push_back(std::move(sample));
  }
  return samples;
}

MeasuringRect evaluationRect(const std::vector<FaceRect>& boxes, const LandmarkFace& face,
                             const RectNoise& noise, std::uint64_t seed, int index) {
  const FaceRect square = conventionSquare(face.points);
  const FaceRect* box = bestBox(boxes, square, kLeastOverlap);
  if (box != nullptr) return {*box, /*is_detected=*/true};
  std::mt19937_64 random = generatorFor(seed, index);
  return {jitterSquare(square, noise, random), /*is_detected=*/false};
}

std::vector<AlignmentSample> makeMeasuringSamples(const std::string& folder,
                                                  const std::vector<LandmarkFace>& faces,
                                                  const BoxTable& boxes, const RectNoise& noise,
                                                  int face_width, std::uint64_t seed, int threads) {
  std::vector<AlignmentSample> samples(faces.size());
  training::parallelFor(static_cast<int>(faces.size()), threads, [&](int index) {
    const LandmarkFace& face = faces[index];
    const FaceRect rect = evaluationRect(boxesOf(face, boxes), face, noise, seed, index).rect;
    samples[index] = makeSample(training::readPhotoRgb(folder + "/" + face.image), rect,
                                face.points, face_width);
    samples[index].face = index;
    samples[index].manual = face.manual;
  });
  return samples;
}

}  // namespace alignment_training
