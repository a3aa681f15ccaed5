// Scans, tiles, margins and turns.

#include "kit/search/face_search.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include "caffe/syncedmem.hpp"
#include "detector/cascade_driver.h"
#include "kit/error.h"
#include "kit/pixels/quarter_turns.h"
#include "kit/search/auto_margin.h"
#include "kit/search/face_merge.h"
#include "kit/search/framed_picture.h"
#include "kit/search/search_plan.h"

namespace kit {
namespace {

constexpr float kLeastFace = 4;  // In pixels of the picture: smaller boxes would lose their area.

std::string sides(const Size& size) {
  return std::to_string(size.width) + " by " + std::to_string(size.height);
}

// In thousandths.
std::string shown(float fraction) {
  char text[16];
  const int thousandths = static_cast<int>(fraction * 1000 + 0.5F);
  std::snprintf(text, sizeof(text), "%d.%03d", thousandths / 1000, thousandths % 1000);
  return text;
}

void requireSearchable(const Scan& scan, const Size& first_input) {
  const Size working = workingSizeOf(scan);
  if (!fits(working, first_input)) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected a working image that the first network can hold, with " +
                    sides(first_input) + " pixels, found " + sides(working) +
                    "; a min_face_fraction of " + shown(acceptedFraction(scan, first_input)) +
                    " would be accepted, and min_face_px finds small faces by tiles.");
  }
  if (smallestFace({scan.region.width, scan.region.height}, scan.parameter) < kLeastFace) {
    throw Error(OZNAKIT_BAD_ARGUMENT,
                "Expected a scan whose smallest face has at least 4 pixels of the picture, found "
                "one for smaller faces; a lower max_upscale or a higher min_face_fraction would be "
                "accepted.");
  }
}

// What a scan costs, in pixels of its working image.
double workOf(const Scan& scan) {
  const Size working = workingSizeOf(scan);
  return static_cast<double>(working.width) * static_cast<double>(working.height);
}

// Whether the centre of a rectangle lies in an area: left and top inclusive, right and bottom not.
bool centreLiesIn(const oznalib::Rectangle<float>& rect, const oznalib::Rectangle<float>& area) {
  const float x = (rect.left + rect.right) / 2;
  const float y = (rect.top + rect.bottom) / 2;
  return x >= area.left && x < area.right && y >= area.top && y < area.bottom;
}

oznalib::Rectangle<float> movedBy(const oznalib::Rectangle<float>& rect, int x, int y) {
  const auto dx = static_cast<float>(x);
  const auto dy = static_cast<float>(y);
  return {rect.left + dx, rect.top + dy, rect.right + dx, rect.bottom + dy};
}

// Lets the host be asked between the units of the networks, for the life of this object.
class Interruptible {
 public:
  Interruptible(oznalib::DetectorImpl& detector, WorkProgress& progress) : detector_(detector) {
    if (progress.hasListener()) set([&progress] { progress.pause(); });
  }
  ~Interruptible() { set(nullptr); }
  Interruptible(const Interruptible&) = delete;
  Interruptible& operator=(const Interruptible&) = delete;

 private:
  void set(const std::function<void()>& ask) {
    for (oznalib::CascadeStage& stage : detector_.stages) stage.between_units = ask;
    detector_.calibration.between_units = ask;
  }

  oznalib::DetectorImpl& detector_;
};

// One search of a picture by one detector.
struct Search {
  oznalib::DetectorImpl& detector;
  const Size& first_input;
  const SearchRequest& request;
  WorkProgress& progress;

  std::vector<Scan> plan(const Picture& picture, int border_px) const {
    const cv::Size size = picture.size();
    std::vector<Scan> scans = planScans(FramedPicture(picture, border_px).size(),
                                        std::max(size.width, size.height), request, first_input);
    for (const Scan& scan : scans) {
      if (isWideEnough(scan)) requireSearchable(scan, first_input);
    }
    return scans;
  }

  void run(const FramedPicture& framed, const Scan& scan, std::vector<Face>& faces) const {
    if (!isWideEnough(scan)) return;
    PixelBlock block;
    const oznalib::CandidateList found =
        runCascade(detector, framed.rgb(scan.region, progress, block), scan.parameter);
    block.release(progress);
    for (const oznalib::FaceCandidate& candidate : found.candidates) {
      Face face;
      face.rect = movedBy({static_cast<float>(candidate.x), static_cast<float>(candidate.y),
                           static_cast<float>(candidate.x + candidate.width),
                           static_cast<float>(candidate.y + candidate.height)},
                          scan.region.x, scan.region.y);
      face.score = candidate.score;
      // NaN where damaged weights run out of range.
      if (face.score >= request.least_score && centreLiesIn(face.rect, scan.core)) {
        faces.push_back(std::move(face));
      }
    }
  }

  // The upright faces of a picture, of one or several scans.
  std::vector<Face> findUpright(const Picture& picture, int border_px,
                                const std::vector<Scan>& scans) const {
    const FramedPicture framed(picture, border_px);
    std::vector<Face> faces;
    for (const Scan& scan : scans) {
      run(framed, scan, faces);
      progress.finishUnits(workOf(scan));
    }
    if (scans.size() > 1) mergeFaces(faces);
    for (Face& face : faces) face.rect = movedBy(face.rect, -border_px, -border_px);
    if (border_px > 0) {
      const oznalib::Rectangle<float> whole = {0, 0, static_cast<float>(picture.size().width),
                                               static_cast<float>(picture.size().height)};
      faces.erase(std::remove_if(faces.begin(), faces.end(),
                                 [&](const Face& face) { return !centreLiesIn(face.rect, whole); }),
                  faces.end());
    }
    return faces;
  }

  // All turns with one margin. end_share  The progress at its end.
  std::vector<Face> find(const Picture& picture, double margin, double end_share) const {
    const int border_px = borderPixels(picture.size(), margin);
    const int step = request.turns == 4 ? 1 : 4;
    std::vector<std::vector<Scan>> plans;
    double work = 0;
    for (int turn = 0; turn < 4; turn += step) {
      plans.push_back(plan(picture.turned(turn), border_px));
      for (const Scan& scan : plans.back()) work += workOf(scan);
    }
    progress.beginPart(work, end_share);
    std::vector<Face> faces;
    for (int turn = 0; turn < 4; turn += step) {
      const std::vector<Scan>& scans = plans[static_cast<std::size_t>(turn)];
      for (Face& face : findUpright(picture.turned(turn), border_px, scans)) {
        face.rect = unturnedRect(face.rect, picture.size(), turn);
        face.turn = turn;
        faces.push_back(std::move(face));
      }
    }
    if (request.turns > 1) mergeFaces(faces);
    return faces;
  }
};

}  // namespace

std::vector<Face> searchFaces(oznalib::DetectorImpl& detector, const Size& first_input,
                              const Picture& picture, const SearchRequest& request,
                              double end_share, WorkProgress& progress) {
  // The runtime takes its blocks of memory when it first runs.
  const caffe::ThrowWithoutMemory throwing;
  const Interruptible interruptible(detector, progress);
  const Search search = {detector, first_input, request, progress};
  const bool may_need_margin = request.is_margin_auto && isPortraitLike(picture.size());
  std::vector<Face> faces =
      search.find(picture, request.margin, may_need_margin ? end_share / 2 : end_share);
  if (faces.empty() && may_need_margin) faces = search.find(picture, kAutoMargin, end_share);
  if (request.max_faces > 0 && faces.size() > static_cast<std::size_t>(request.max_faces)) {
    faces.resize(static_cast<std::size_t>(request.max_faces));
  }
  return faces;
}

}  // namespace kit
