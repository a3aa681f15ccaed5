/// The learned numbers of landmark alignment, the file that holds them, and the process-wide slot
/// of the model.

#ifndef OZNA_ALIGNMENT_SDM_MODEL_H_
#define OZNA_ALIGNMENT_SDM_MODEL_H_

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

#include "mp/matrix.h"
#include "mp/pca_map.h"
#include "ozna.h"

namespace oznalib {

/// One model: a mean shape and a chain of linear maps.
///
/// File    Little-endian, no gaps: int32 count and auxMatrices; count and stageBias; count and
///         meanShape (float32); count and auxValues (float32); count and stageMaps; count and
///         stageLevels (int32); then four int32: a word that is dropped, reservedFlag,
///         levelsPerOctave, faceWidth. Matrices and maps are in their own file forms.
/// Source  X. Xiong and F. De la Torre, Supervised descent method and its applications to face
///         alignment, 2013.
class SDMModel {
 public:
  SDMModel();

  /// Pyramid level of each stage; the last one serves all further stages.
  std::vector<std::int32_t> stageLevels;
  std::int32_t levelsPerOctave = 3;  ///< Blur levels in a doubling of the blur.
  std::int32_t faceWidth = 100;      ///< Width in pixels that a face box is brought to.
  std::int32_t reservedFlag = 1;     ///< Kept from the file; read by nothing.
  std::vector<float> meanShape;      ///< x0, y0, x1, y1, ... in units of the face box, 0 to 1.
  std::vector<float> auxValues;      ///< Kept from the file; read by nothing.
  /// Without any, stageBias is not used. The content is read by nothing.
  std::vector<mp::matrix> auxMatrices;
  std::vector<mp::matrix> stageBias;  ///< 1 by meanShape.size() each, in pixels; or empty.
  /// One per stage: 64 * meanShape.size() features to meanShape.size() moves.
  std::vector<mp::pca_map> stageMaps;
  bool reservedByte = false;  ///< Read by nothing.
};

/// The model in the slot: null before the first load and after an unload.
SDMModel* globalSDMModel();

/// Reads a model from a stream in the form of the file.
///
/// in       From its beginning, wherever it stands.
/// model    Gets what can be read. The content is not checked: a stream that ends early leaves what
///          it does not reach as it was, and a count that cannot be read repeats the count before
///          it.
/// Errors   A count below 0, and a matrix of a size that there cannot be or that neither the stream
///          nor any sane model holds (2^28 cells), raise std::bad_alloc, as does memory that runs
///          out; the model keeps what it got until then. A count above 65536 is cut to that, unless
///          the stream is long enough to hold as many elements.
/// Threads  Any number at once with streams and models of their own.
void readSDMModel(std::istream& in, SDMModel& model);

/// Reads a file into the model in the slot.
///
/// Returns  Whether there is a model and the file could be opened. The content is not checked.
/// Errors   As readSDMModel.
bool readSDMFile(const std::string& path);

/// Replaces the model in the slot by a new one with default values and reads directory + "/" + file
/// into it.
///
/// Returns  StatusOk, or StatusLoadFailed if the file cannot be opened: then the slot keeps the
///          default model.
/// Threads  Must not run beside another load, an unload or an alignment.
Status loadModelSlot(const std::string& directory, const std::string& file);

/// Empties the slot. Returns StatusOk always. Threads: as loadModelSlot.
Status unloadModelSlot();

}  // namespace oznalib

#endif  // OZNA_ALIGNMENT_SDM_MODEL_H_
