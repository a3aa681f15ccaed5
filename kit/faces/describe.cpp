// Landmarks of a face and what follows from them.

#include "kit/faces/describe.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "alignment/landmark_groups.h"
#include "kit/error.h"
#include "kit/faces/eye_openness.h"
#include "kit/faces/head_pose.h"
#include "kit/faces/placement.h"
#include "kit/faces/point_quality.h"
#include "kit/faces/sharpness.h"
#include "kit/number_text.h"
#include "kit/pixels/quarter_turns.h"

namespace kit {
namespace {

using Rect = oznalib::Rectangle<float>;

void requireRect(const Rect& rect) {
  // Written so that NaN is refused too.
  const bool has_area = std::isfinite(rect.left) && std::isfinite(rect.top) &&
                        std::isfinite(rect.right) && std::isfinite(rect.bottom) &&
                        rect.left < rect.right && rect.top < rect.bottom;
  if (!has_area) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected a box with left below right and top below bottom, found " +
                    edgesText(rect.left, rect.top, rect.right, rect.bottom) + ".");
  }
}

void unturn(const cv::Size& size, int turns, std::vector<float>& points) {
  for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
    const cv::Point2f point = unturnedPoint({points[i], points[i + 1]}, size, turns);
    points[i] = point.x;
    points[i + 1] = point.y;
  }
}

void fillDetails(const Picture& picture, const std::vector<float>& points, float spread,
                 Face& face) {
  const HeadPose pose = headPose(points);
  face.quality = pointQuality(spread, pose.misfit);
  face.roll = pose.roll;
  face.yaw = pose.yaw;
  face.pitch = pose.pitch;
  face.left_eye = eyeOpenness(points, kLeftEye);
  face.right_eye = eyeOpenness(points, kRightEye);
  face.sharpness = faceSharpness(picture, points);
}

}  // namespace

void describeFace(const oznalib::SDMModel& model, const Picture& picture, std::int32_t with,
                  Face& face) {
  if (with == 0) {
    return;
  }
  requireRect(face.rect);
  oznalib::Placement68 placement = placeLandmarks(model, picture.turned(face.turn),
                                                  turnedRect(face.rect, picture.size(), face.turn));
  face.points.clear();
  if (placement.points.empty()) {
    return;
  }
  const float spread = fitSpread(placement);
  std::vector<float>& points = placement.points;
  unturn(picture.size(), face.turn, points);
  if ((with & OZNAKIT_WITH_DETAILS) != 0) {
    fillDetails(picture, points, spread, face);
  }
  if ((with & OZNAKIT_WITH_POINTS_68) != 0) {
    face.points = std::move(points);
  } else if ((with & OZNAKIT_WITH_POINTS_5) != 0) {
    face.points = oznalib::groupCentres(points);
  }
}

}  // namespace kit
