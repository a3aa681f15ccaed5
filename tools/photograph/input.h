/// A photograph that a run works on, before it is read.

#ifndef OZNA_TOOLS_PHOTOGRAPH_INPUT_H_
#define OZNA_TOOLS_PHOTOGRAPH_INPUT_H_

#include <memory>
#include <string>
#include <vector>

namespace oznatool {

struct Input {
  std::string path;   ///< As the user gave it, or below the folder that the user gave.
  std::string place;  ///< Where its files go below an output directory: its name, behind that of
                      ///< the subfolders of a folder that the user gave.
  /// The bytes of a picture that stood where a list was expected; null for a file.
  std::shared_ptr<const std::vector<unsigned char>> content = nullptr;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_PHOTOGRAPH_INPUT_H_
