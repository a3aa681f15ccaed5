// Images and annotations as lines.

#include "tools/output/coco_export.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>

#include "tools/process/terminal_text.h"

namespace oznatool {
namespace {

// With float as its number type, so that a number has the digits of a float.
using Json = nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool,
                                  std::int64_t, std::uint64_t, float>;

std::string lineOf(const Json& value) {
  return escapedInJson(
      value.dump(/*indent=*/-1, ' ', /*ensure_ascii=*/false, Json::error_handler_t::replace));
}

void addLine(std::string& list, const Json& value) {
  if (!list.empty()) list += ",\n";
  list += lineOf(value);
}

// x, y and "labelled and visible" for each landmark.
Json keypointsOf(const std::vector<float>& points) {
  Json keypoints = Json::array();
  for (std::size_t i = 0; i + 1 < points.size(); i += 2) {
    const bool is_finite = std::isfinite(points[i]) && std::isfinite(points[i + 1]);
    keypoints.push_back(is_finite ? points[i] : 0.0F);
    keypoints.push_back(is_finite ? points[i + 1] : 0.0F);
    keypoints.push_back(is_finite ? 2 : 0);
  }
  return keypoints;
}

}  // namespace

void CocoExport::add(const Record& record) {
  if (record.failure) return;
  Json image;
  image["id"] = ++image_count_;
  image["file_name"] = record.path;
  image["width"] = record.size.width;
  image["height"] = record.size.height;
  addLine(images_, image);
  for (const Face& face : record.faces) {
    const float left = std::max(face.rect.left, 0.0F);
    const float top = std::max(face.rect.top, 0.0F);
    const float width = std::min(face.rect.right, static_cast<float>(record.size.width)) - left;
    const float height = std::min(face.rect.bottom, static_cast<float>(record.size.height)) - top;
    if (!(width > 0 && height > 0)) continue;
    Json annotation;
    annotation["id"] = ++annotation_count_;
    annotation["image_id"] = image_count_;
    annotation["category_id"] = 1;
    annotation["bbox"] = {left, top, width, height};
    annotation["area"] = width * height;
    annotation["iscrowd"] = 0;
    if (face.score) annotation["score"] = *face.score;
    if (!face.points.empty()) {
      annotation["keypoints"] = keypointsOf(face.points);
      annotation["num_keypoints"] = face.points.size() / 2;
      point_count_ = face.points.size() / 2;
    }
    addLine(annotations_, annotation);
  }
}

std::string CocoExport::text() const {
  Json category;
  category["id"] = 1;
  category["name"] = "face";
  category["supercategory"] = "person";
  if (point_count_ > 0) {
    category["keypoints"] = Json::array();
    for (std::size_t i = 0; i < point_count_; ++i) {
      category["keypoints"].push_back(std::to_string(i));
    }
    category["skeleton"] = Json::array();
  }
  return "{\"info\":{\"description\":\"faces found by ozna\"},\n\"images\":[\n" + images_ +
         "\n],\n\"annotations\":[\n" + annotations_ + "\n],\n\"categories\":[" + lineOf(category) +
         "]}\n";
}

}  // namespace oznatool
