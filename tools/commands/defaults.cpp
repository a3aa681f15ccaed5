// Values and sources of defaults.

#include "tools/commands/defaults.h"

#include <cstdio>

#include "tools/arguments/search_options.h"
#include "tools/process/machine_limits.h"
#include "tools/run/model_directory.h"

namespace oznatool {
namespace {

std::string shown(float value) {
  char text[32];
  std::snprintf(text, sizeof(text), "%g", static_cast<double>(value));
  return text;
}

std::string jobsSource() {
  const GroupLimits limits = groupLimits();
  return limits.cpus ? "processors of this process, control group limit " +
                           shown(static_cast<float>(*limits.cpus))
                     : "processors of this process; no control group limit";
}

std::string memorySource() {
  const bool halved = usableMemory() / 2 < (std::int64_t{2048} << 20);
  return halved ? "half of the memory of the machine or control group" : "built in";
}

}  // namespace

std::vector<Default> defaultsOf(const Options& options) {
  const std::string built_in = "built in";
  const std::string balanced = "preset balanced";
  const oznakit_scan scan = scanOf(oznakit::Preset::Balanced);
  const ModelPlace place = modelPlace(options.find.models);
  return {
      {"--models", place.directory, place.source},
      {"--jobs", std::to_string(threadCount(options.run.jobs)), jobsSource()},
      {"--memory", std::to_string(workingMemory(options.run.memory_mib) >> 20) + " MiB",
       memorySource()},
      {"--format", "text", built_in},
      {"--progress", "auto", "built in: a terminal and more than one photograph"},
      {"--preset", "balanced", built_in},
      {"--margin", "0%", built_in},
      {"--points", "68", "built in; crop takes 5"},
      {"--size", std::to_string(options.files.chip_side), built_in},
      {"--rounds", std::to_string(options.rounds), built_in},
      {"--max-upscale", shown(scan.max_upscale), balanced},
      {"--max-image-side", std::to_string(scan.max_image_side), balanced},
      {"--min-face-fraction", shown(scan.min_face_fraction), balanced},
      {"--pyramid-levels", std::to_string(scan.pyramid_levels), balanced},
      {"--pyramid-factor", shown(scan.pyramid_factor), balanced},
      {"--window-size", std::to_string(scan.window_size), balanced},
  };
}

}  // namespace oznatool
