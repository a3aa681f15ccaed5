// Searches, alignments, and the lists that they give.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kit/barrier.h"
#include "kit/error.h"
#include "kit/faces/describe.h"
#include "kit/finder.h"
#include "kit/number_text.h"
#include "kit/pixels/picture.h"
#include "kit/search/face_search.h"
#include "kit/search/search_request.h"
#include "kit/search/work_progress.h"
#include "kit/sized.h"
#include "kit/workspace.h"

namespace {

// The progress when the search is done and the faces are to be described.
constexpr double kSearchShare = 0.9;

void requireLandmarks(const oznakit_finder& finder, std::int32_t with) {
  if (with == 0 || finder.landmarks != nullptr) return;
  throw kit::Error(OZNAKIT_NO_MODEL,
                   "Expected a finder with OZNAKIT_LANDMARKS for points and details, found one "
                   "without.");
}

kit::Picture pictureOf(const oznakit_image* image) {
  kit::requireGiven(image, "an image");
  kit::requireSize(*image, "oznakit_image");
  return kit::Picture(*image);
}

std::vector<kit::Face> find(oznakit_finder& finder, const oznakit_image* image,
                            const oznakit_search_options& options) {
  const kit::SearchRequest request(options);
  const kit::Picture picture = pictureOf(image);
  if (finder.cascade == nullptr) {
    throw kit::Error(OZNAKIT_NO_MODEL,
                     "Expected a finder with OZNAKIT_DETECTION for a search, found one without.");
  }
  requireLandmarks(finder, request.with);

  const kit::WorkspaceInUse workspace;
  kit::WorkProgress progress(options.progress, options.context);
  std::vector<kit::Face> faces;
  {
    kit::DetectorPool::Loan loan(*finder.pool);
    const kit::Shape& input = finder.cascade->scanInput();
    faces = kit::searchFaces(loan.detector(), {input.width, input.height}, picture, request,
                             request.with == 0 ? 1 : kSearchShare, progress);
  }
  if (request.with != 0) {
    progress.beginPart(static_cast<double>(faces.size()), 1);
    for (kit::Face& face : faces) {
      kit::describeFace(*finder.landmarks, picture, request.with, face);
      progress.finishUnits(1);
    }
  }
  progress.finish();
  return faces;
}

// Whether an interval has a pixel or more in common with a side of a picture.
bool holdsPixel(float begin, float end, int length) {
  return std::min(end, static_cast<float>(length)) - std::max(begin, 0.0F) >= 1;
}

kit::Face givenFace(const float* box, std::int32_t turn, const cv::Size& size, std::int32_t index) {
  const auto fail = [&](const std::string& expected, const std::string& found) {
    throw kit::Error(OZNAKIT_BAD_ARGUMENT, "Box " + std::to_string(index) + ": expected " +
                                               expected + ", found " + found + ".");
  };
  const auto edges = [box] { return kit::edgesText(box[0], box[1], box[2], box[3]); };
  if (!std::all_of(box, box + 4, [](float edge) { return std::isfinite(edge); })) {
    fail("finite edges", edges());
  }
  if (!(box[0] < box[2] && box[1] < box[3])) fail("left below right and top below bottom", edges());
  if (!holdsPixel(box[0], box[2], size.width) || !holdsPixel(box[1], box[3], size.height)) {
    fail("at least a pixel of the picture of " + std::to_string(size.width) + " by " +
             std::to_string(size.height),
         edges());
  }
  if (turn < 0 || turn > 3) fail("0 to 3 quarter turns", std::to_string(turn));
  kit::Face face;
  face.rect = {box[0], box[1], box[2], box[3]};
  face.turn = turn;
  return face;
}

std::vector<kit::Face> align(const oznakit_finder& finder, const oznakit_image* image,
                             const float* boxes, const std::int32_t* turns, std::int32_t count,
                             std::int32_t with) {
  kit::requireWith(with);
  const kit::Picture picture = pictureOf(image);
  if (count < 0) {
    throw kit::Error(OZNAKIT_BAD_ARGUMENT,
                     "Expected a count of 0 or more boxes, found " + std::to_string(count) + ".");
  }
  if (count > 0) kit::requireGiven(boxes, "boxes");
  requireLandmarks(finder, with);
  const kit::WorkspaceInUse workspace;
  std::vector<kit::Face> faces;
  for (std::int32_t i = 0; i < count; ++i) {
    faces.push_back(givenFace(boxes + std::ptrdiff_t{4} * i, turns == nullptr ? 0 : turns[i],
                              picture.size(), i));
    if (with != 0) kit::describeFace(*finder.landmarks, picture, with, faces.back());
  }
  return faces;
}

oznakit_face faceForHost(const kit::Face& face) {
  oznakit_face out = OZNAKIT_FACE_INIT;
  out.left = face.rect.left;
  out.top = face.rect.top;
  out.right = face.rect.right;
  out.bottom = face.rect.bottom;
  out.score = face.score;
  out.turn = face.turn;
  out.point_count = static_cast<std::int32_t>(face.points.size() / 2);
  std::copy(face.points.begin(), face.points.end(), out.points);
  out.quality = face.quality;
  out.roll = face.roll;
  out.yaw = face.yaw;
  out.pitch = face.pitch;
  out.left_eye = face.left_eye;
  out.right_eye = face.right_eye;
  out.sharpness = face.sharpness;
  return out;
}

oznakit_faces* listOf(std::vector<kit::Face> faces) {
  auto list = std::make_unique<oznakit_faces>();
  list->faces = std::move(faces);
  return list.release();
}

}  // namespace

oznakit_status oznakit_finder_find(oznakit_finder* finder, const oznakit_image* image,
                                   const oznakit_search_options* options, oznakit_faces** faces) {
  return kit::guarded([&] {
    kit::requireGiven(faces, "a place for the faces");
    *faces = nullptr;
    kit::requireGiven(finder, "a finder");
    const oznakit_search_options defaults = OZNAKIT_SEARCH_OPTIONS_INIT;
    *faces = listOf(find(*finder, image, options == nullptr ? defaults : *options));
  });
}

oznakit_status oznakit_finder_align(oznakit_finder* finder, const oznakit_image* image,
                                    const float* boxes, const std::int32_t* turns,
                                    std::int32_t count, std::int32_t with, oznakit_faces** faces) {
  return kit::guarded([&] {
    kit::requireGiven(faces, "a place for the faces");
    *faces = nullptr;
    kit::requireGiven(finder, "a finder");
    *faces = listOf(align(*finder, image, boxes, turns, count, with));
  });
}

std::int32_t oznakit_faces_count(const oznakit_faces* faces) {
  return faces == nullptr ? 0 : static_cast<std::int32_t>(faces->faces.size());
}

oznakit_status oznakit_faces_get(const oznakit_faces* faces, std::int32_t index,
                                 oznakit_face* face) {
  return kit::guarded([&] {
    kit::requireGiven(faces, "faces");
    kit::requireGiven(face, "a place for the face");
    kit::requireSize(*face, "oznakit_face");
    if (index < 0 || index >= oznakit_faces_count(faces)) {
      throw kit::Error(OZNAKIT_BAD_ARGUMENT, "Expected the index of one of " +
                                                 std::to_string(oznakit_faces_count(faces)) +
                                                 " faces, found " + std::to_string(index) + ".");
    }
    *face = faceForHost(faces->faces[static_cast<std::size_t>(index)]);
  });
}

void oznakit_faces_free(oznakit_faces* faces) { delete faces; }
