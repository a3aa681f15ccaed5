// Names and files of chips.

#include "tools/output/chip_output.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <system_error>

#include "tools/output/existing_files.h"
#include "tools/output/image_encoder.h"
#include "tools/output/output_file.h"

namespace oznatool {
namespace {

// Empty for a face without points, or with points that do not make a face.
cv::Mat chipOf(const cv::Mat& pixels, const Face& face, int side_px) {
  if (face.points.empty()) return {};
  oznakit::Face wanted;
  for (std::size_t i = 0; i + 1 < face.points.size(); i += 2) {
    wanted.points.push_back({face.points[i], face.points[i + 1]});
  }
  oznakit::ChipOptions options;
  options.width = side_px;
  options.height = side_px;
  try {
    const oznakit::Picture chip = oznakit::chip(imageOf(pixels), wanted, options);
    cv::Mat copy(side_px, side_px, CV_8UC3);
    std::copy(chip.pixels.begin(), chip.pixels.end(), copy.data);
    return copy;
  } catch (const oznakit::Error& error) {
    if (error.status() != OZNAKIT_BAD_ARGUMENT) throw;
    return {};
  }
}

std::string stemOf(const Input& input) {
  const std::filesystem::path place(input.place);
  return (place.parent_path() / place.stem()).string();
}

}  // namespace

ChipOutput::ChipOutput(const std::string& directory, int side_px, Taken taken)
    : directory_(directory),
      side_px_(side_px),
      taken_(taken),
      written_(std::make_shared<std::unordered_set<std::string>>()) {
  makeDirectory(directory);
}

bool ChipOutput::isThere(const Input& input) const {
  std::error_code error;
  return std::filesystem::exists(directory_ + "/" + stemOf(input) + "-1.png", error);
}

void ChipOutput::protect(const Input& input) const {
  refuseToOverwritePhotographs(directory_, {input.path});
}

PreparedFiles ChipOutput::prepare(const Input& input, const Record& record,
                                  Photograph& photograph) const {
  // One file per face; no bytes for a face without a chip.
  const auto files = std::make_shared<std::vector<Bytes>>();
  PreparedFiles prepared;
  for (const Face& face : record.faces) {
    cv::Mat chip = chipOf(photograph.pixels, face, side_px_);
    files->push_back(chip.empty() ? Bytes() : encodePicture(input.place + ".png", chip));
    prepared.bytes += static_cast<std::int64_t>(files->back().size());
  }
  prepared.write = [this, files, stem = stemOf(input)](Record& written) {
    for (std::size_t i = 0; i < files->size(); ++i) {
      if ((*files)[i].empty()) continue;
      const std::string name = stem + "-" + std::to_string(i + 1) + ".png";
      // Another photograph of this run may have the same name.
      const bool is_first = written_->insert(name).second;
      const Taken taken = taken_ == Taken::kReplaced && !is_first ? Taken::kAnotherName : taken_;
      written.faces[i].chip = writeNewFile(directory_, name, (*files)[i], taken);
    }
  };
  return prepared;
}

}  // namespace oznatool
