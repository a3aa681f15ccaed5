/// Names the files of a cascade and looks them over, since the library ends the process on one that
/// is missing.

#ifndef OZNA_TOOLS_CASCADE_FILES_H_
#define OZNA_TOOLS_CASCADE_FILES_H_

#include <string>
#include <vector>

#include "tools/working_size.h"

namespace oznatool {

/// Name of the stage list under the root of a cascade.
extern const char* const kStageListName;

/// The files of one network.
struct NetworkFiles {
  std::string definition;  ///< Text: layers and input size.
  std::string weights;     ///< Binary: trained numbers.
  std::string mean;  ///< Text: one number for each element of the input. Empty in the first stage,
                     ///< which has none.
};

/// The files of a cascade, which have been looked over.
struct CascadeFiles {
  std::string root;                    ///< With a separator at its end.
  std::vector<NetworkFiles> networks;  ///< In the order of loading: the stages, then calibration.
  std::string calibration_table;       ///< Text: shift in x, shift in y and scale of each pattern.
  Size first_input;  ///< Input of the first network in pixels: the working image must fit its area.
  int last_input_px = 0;  ///< Side in pixels of the largest input behind the first network.
};

/// Reads the stage list under root and the sizes of inputs, and looks no further.
///
/// root    With a separator at its end.
/// Errors  As checkCascadeFiles.
CascadeFiles listCascadeFiles(const std::string& root);

/// Reads the stage list under root and tests every file that a load will read, as far as that goes
/// without building the networks: it must be there, readable and not empty, the lists and means
/// must hold numbers and as many as needed.
///
/// root    With a separator at its end.
/// Errors  Failure with kExitModel; its message begins with the path of the file at fault.
CascadeFiles checkCascadeFiles(const std::string& root);

/// Tests that the calibration table has a pattern for each output of its network: the library takes
/// what is there.
///
/// files   Their definitions have been read by the library, so that the outputs in them can be
///         believed.
/// Errors  Failure with kExitModel; its message begins with the path of the table.
void checkCalibrationTable(const CascadeFiles& files);

/// The text of a model file. Errors  Failure with kExitModel, also for what is no regular file, which
/// is opened without waiting.
std::string readModelText(const std::string& path);

/// The numbers of a text file, separated by white space. Throws Failure with kExitModel where it
/// holds anything else.
std::vector<float> readNumbers(const std::string& path);

}  // namespace oznatool

#endif  // OZNA_TOOLS_CASCADE_FILES_H_
