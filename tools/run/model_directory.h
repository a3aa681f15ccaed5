/// Finds the directory that holds the model files.

#ifndef OZNA_TOOLS_RUN_MODEL_DIRECTORY_H_
#define OZNA_TOOLS_RUN_MODEL_DIRECTORY_H_

#include <string>

namespace oznatool {

/// A directory of models and why it is the one.
struct ModelPlace {
  std::string directory;  ///< With a separator at its end.
  std::string source;     ///< A few words.
};

/// The directory of the models.
///
/// given    What the user asked for; it is taken as it is. When empty, what the environment
///          variable OZNA_MODELS names, likewise; without it, the folder compact of the first of
///          these that holds a stage list or a landmark model, or the place itself where there is
///          no such folder: ../share/ozna beside the program's own directory, public/ of the source
///          tree that the program was built from, share/ozna under the prefix that it was
///          configured for.
/// Errors   Failure with kExitModel where a named directory is none, or none is found; the message
///          names the places.
ModelPlace modelPlace(const std::string& given);

/// The directory alone, with a separator at its end.
std::string modelDirectory(const std::string& given);

}  // namespace oznatool

#endif  // OZNA_TOOLS_RUN_MODEL_DIRECTORY_H_
