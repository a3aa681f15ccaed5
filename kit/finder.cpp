// Finders: opening, closing, and what they hold.

#include "kit/finder.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kit/barrier.h"
#include "kit/error.h"
#include "kit/models/landmark_model.h"
#include "kit/models/model_source.h"
#include "kit/sized.h"
#include "kit/workspace.h"

namespace {

constexpr std::int32_t kAllParts = OZNAKIT_DETECTION | OZNAKIT_LANDMARKS;
constexpr std::size_t kMostOfLandmarks = std::size_t{1} << 28;  // In bytes.
const char kLandmarks[] = "models/face68.sdm";
// A cascade in a folder of the models' place goes with the landmark model of that place.
const char kSharedLandmarks[] = "../models/face68.sdm";

std::string landmarksOf(const kit::ModelSource& source) {
  return !source.has(kLandmarks) && source.has(kSharedLandmarks) ? kSharedLandmarks : kLandmarks;
}

// A source that keeps the names of the files that are read from it.
class NotingSource : public kit::ModelSource {
 public:
  NotingSource(const kit::ModelSource& source, std::vector<std::string>& names)
      : source_(source), names_(names) {}
  std::unique_ptr<kit::ModelFile> open(const std::string& name,
                                       std::size_t largest) const override {
    std::unique_ptr<kit::ModelFile> file = source_.open(name, largest);
    names_.push_back(name);
    return file;
  }
  kit::FileContent read(const std::string& name, std::size_t largest) const override {
    kit::FileContent content = source_.read(name, largest);
    names_.push_back(name);
    return content;
  }
  std::string labelOf(const std::string& name) const override { return source_.labelOf(name); }
  bool has(const std::string& name) const override { return source_.has(name); }
  std::string place() const override { return source_.place(); }

 private:
  const kit::ModelSource& source_;
  std::vector<std::string>& names_;
};

std::unique_ptr<oznakit_finder> openFinder(const oznakit_model_options& options) {
  kit::requireSize(options, "oznakit_model_options");
  if (options.parts < 0 || options.parts > kAllParts) {
    throw kit::Error(OZNAKIT_BAD_ARGUMENT,
                     "Expected parts to be a sum of OZNAKIT_DETECTION and OZNAKIT_LANDMARKS, "
                     "found " +
                         std::to_string(options.parts) + ".");
  }
  const std::int32_t parts = options.parts == 0 ? kAllParts : options.parts;
  const kit::FoundModels found = kit::findModels(options);
  auto finder = std::make_unique<oznakit_finder>();
  finder->models = found.source->place();
  finder->source = found.reason;
  const kit::WorkspaceInUse workspace;
  const NotingSource source(*found.source, finder->files);
  if ((parts & OZNAKIT_DETECTION) != 0) {
    finder->cascade = std::make_unique<kit::Cascade>(source);
    finder->pool.emplace(*finder->cascade);
  }
  if ((parts & OZNAKIT_LANDMARKS) != 0) {
    const std::string landmarks = landmarksOf(source);
    finder->landmarks = kit::readLandmarkModel(source.labelOf(landmarks),
                                               *source.open(landmarks, kMostOfLandmarks));
  }
  return finder;
}

}  // namespace

oznakit_status oznakit_finder_open(const oznakit_model_options* options, oznakit_finder** finder) {
  return kit::guarded([&] {
    kit::requireGiven(finder, "a place for the finder");
    *finder = nullptr;
    const oznakit_model_options defaults = OZNAKIT_MODEL_OPTIONS_INIT;
    *finder = openFinder(options == nullptr ? defaults : *options).release();
  });
}

void oznakit_finder_close(oznakit_finder* finder) { delete finder; }

oznakit_status oznakit_finder_get_info(const oznakit_finder* finder, oznakit_finder_info* info) {
  return kit::guarded([&] {
    kit::requireGiven(finder, "a finder");
    kit::requireGiven(info, "a place for the info");
    kit::requireSize(*info, "oznakit_finder_info");
    oznakit_finder_info filled = OZNAKIT_FINDER_INFO_INIT;
    filled.models = finder->models.c_str();
    filled.source = finder->source.c_str();
    if (finder->cascade != nullptr) {
      filled.parts |= OZNAKIT_DETECTION;
      filled.stages = finder->cascade->stageCount();
      filled.scan_width = static_cast<std::int32_t>(finder->cascade->scanInput().width);
      filled.scan_height = static_cast<std::int32_t>(finder->cascade->scanInput().height);
      filled.detectors = finder->pool->count();
    }
    if (finder->landmarks != nullptr) filled.parts |= OZNAKIT_LANDMARKS;
    *info = filled;
  });
}

const char* oznakit_finder_file(const oznakit_finder* finder, std::int32_t index) {
  if (finder == nullptr || index < 0 || static_cast<std::size_t>(index) >= finder->files.size()) {
    return nullptr;
  }
  return finder->files[static_cast<std::size_t>(index)].c_str();
}

oznakit_status oznakit_finder_trim(oznakit_finder* finder) {
  return kit::guarded([&] {
    kit::requireGiven(finder, "a finder");
    if (finder->pool) finder->pool->trim();
  });
}
