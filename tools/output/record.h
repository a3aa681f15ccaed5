/// What the program has to say about one input.

#ifndef OZNA_TOOLS_OUTPUT_RECORD_H_
#define OZNA_TOOLS_OUTPUT_RECORD_H_

#include <opencv2/core/types.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tools/photograph/face.h"
#include "tools/photograph/file_stamp.h"
#include "tools/photograph/photograph_failure.h"

namespace oznatool {

struct Record {
  std::string path;                          ///< As the user gave it.
  std::optional<PhotographFailure> failure;  ///< Set where the photograph could not be looked at;
                                             ///< size and faces are then not set.
  std::optional<FileStamp> stamp = {};       ///< Of its file; nothing for a pipe.
  cv::Size size = {};                        ///< Of the upright photograph in pixels.
  int orientation = 1;  ///< How the photograph was turned upright: see orientation.h.
  std::vector<Face> faces = {};
  std::vector<std::string> warnings = {};  ///< What of the photograph was not read, in words.
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_RECORD_H_
