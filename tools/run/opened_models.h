/// Opens models with the program's words for what is wrong with them.

#ifndef OZNA_TOOLS_RUN_OPENED_MODELS_H_
#define OZNA_TOOLS_RUN_OPENED_MODELS_H_

#include <string>

#include "oznakit.hpp"

namespace oznatool {

/// Which models a command needs.
enum class Models { kCascade, kLandmarks, kBoth };

/// Checks and loads the models of a directory.
///
/// Errors  Failure with kExitModel, whose message names the file with what was expected and found;
///         with kExitLimit where the process may open no further file; std::bad_alloc.
oznakit::Finder openModels(const std::string& directory, Models models);

}  // namespace oznatool

#endif  // OZNA_TOOLS_RUN_OPENED_MODELS_H_
