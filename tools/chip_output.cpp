// Names and files of chips.

#include "tools/chip_output.h"

#include <filesystem>
#include <memory>

#include "tools/chip.h"
#include "tools/image_encoder.h"
#include "tools/output_file.h"

namespace oznatool {

ChipOutput::ChipOutput(const std::string& directory, int side_px, Taken taken)
    : directory_(directory), side_px_(side_px), taken_(taken) {
  makeDirectory(directory);
}

PreparedFiles ChipOutput::prepare(const Input& input, const Record& record,
                                  Photograph* photograph) const {
  // One file a face; no bytes for a face without a chip.
  const auto files = std::make_shared<std::vector<Bytes>>();
  PreparedFiles prepared;
  for (const Face& face : record.faces) {
    cv::Mat chip = cutChip(photograph->pixels, face.points, side_px_);
    files->push_back(chip.empty() ? Bytes() : encodePicture(input.place + ".png", chip));
    prepared.bytes += static_cast<std::int64_t>(files->back().size());
  }
  const std::filesystem::path place(input.place);
  const std::string stem = (place.parent_path() / place.stem()).string();
  prepared.write = [this, files, stem](Record* written) {
    for (size_t i = 0; i < files->size(); ++i) {
      if ((*files)[i].empty()) continue;
      const std::string name = stem + "-" + std::to_string(i + 1) + ".png";
      written->faces[i].chip = writeNewFile(directory_, name, (*files)[i], taken_);
    }
  };
  return prepared;
}

}  // namespace oznatool
