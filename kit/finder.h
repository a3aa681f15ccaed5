/// What an oznakit_finder and an oznakit_faces hold.

#ifndef OZNA_KIT_FINDER_H_
#define OZNA_KIT_FINDER_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "alignment/sdm_model.h"
#include "kit/detector_pool.h"
#include "kit/faces/face.h"
#include "kit/models/cascade.h"
#include "kit/oznakit.h"

/// Threads  Any number may use one at once; nothing but the pool changes.
struct oznakit_finder {
  std::string models;  ///< As oznakit_finder_info returns them.
  std::string source;
  std::vector<std::string> files;         ///< Names of those that were read, in that order.
  std::unique_ptr<kit::Cascade> cascade;  ///< Null without detection.
  std::optional<kit::DetectorPool> pool;  ///< Of the cascade.
  std::unique_ptr<const oznalib::SDMModel> landmarks;  ///< Null without landmarks.
};

struct oznakit_faces {
  std::vector<kit::Face> faces;
};

#endif  // OZNA_KIT_FINDER_H_
