// The form of a landmark model file, and the sizes and numbers that an alignment can work with.

#include "kit/models/landmark_model.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "alignment/align68_points.h"
#include "kit/error.h"
#include "kit/number_text.h"
#include "mp/matrix.h"
#include "mp/pca_map.h"

namespace kit {
namespace {

constexpr std::int64_t kCoordinates = 136;                  // x and y of 68 landmarks.
constexpr std::int64_t kFeatures = kCoordinates / 2 * 128;  // 128 descriptor values per landmark.
constexpr std::int64_t kMostItems = 1000000;  // Of any list or side: more is no count but damage.
// In units of the face box, from 0 to 1 within it. What lies farther out makes the alignment put a
// border of that width around its image.
constexpr float kLeastPlace = -1;
constexpr float kMostPlace = 2;
// An alignment keeps a blurred copy of its image, of some three face widths per side, for each level.
constexpr std::int32_t kMostLevels = 16;
constexpr std::int32_t kLeastFaceWidth = 8;
constexpr std::int32_t kMostFaceWidth = 512;

// A file's cells are read and checked in pieces that are still in the processor's cache for the
// check.
constexpr std::int64_t kPieceCells = std::int64_t{1} << 15;

// Fresh memory is cheaper in large pages, where the system has some: that of a map halves the time
// of its reading. A wish, which a system may refuse.
void askForLargePages(float* cells, std::int64_t count) {
#ifdef MADV_HUGEPAGE
  constexpr std::uintptr_t kPage = std::uintptr_t{1} << 21;
  const auto begin = (reinterpret_cast<std::uintptr_t>(cells) + kPage - 1) / kPage * kPage;
  const auto end = reinterpret_cast<std::uintptr_t>(cells + count) / kPage * kPage;
  if (begin >= end) return;
  const int error = errno;
  madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
  errno = error;
#endif
}

// Reads a file once, from front to end, into the model, and refuses it where it is not as it has to
// be. What is refused was read already, but nothing was done with it. The file counts as long as it
// was when it was opened.
class Reader {
 public:
  Reader(const std::string& name, ModelFile& file) : name_(name), file_(file) {}

  // at  Byte of the file.
  [[noreturn]] void refuse(std::size_t at, const std::string& expected,
                           const std::string& found) const {
    throw Error(OZNAKIT_BAD_MODEL, name_ + ": expected " + expected + " at byte " +
                                       std::to_string(at) + ", found " + found + ".");
  }

  template <class T>
  T number() {
    T value;
    requireLeft(sizeof(T));
    take(&value, sizeof(T));
    return value;
  }

  // A number from least to most.
  template <class T>
  T within(const char* what, T least, T most) {
    const std::size_t at = position_;
    const T value = number<T>();
    // Written so that NaN is refused too.
    if (!(value >= least && value <= most)) {
      const std::string range = least < most ? " to " + numberText(most) : std::string();
      refuse(at, std::string(what) + " of " + numberText(least) + range, numberText(value));
    }
    return value;
  }

  std::int32_t count(const char* what) {
    return within<std::int32_t>(what, 0, static_cast<std::int32_t>(kMostItems));
  }

  std::vector<float> finiteNumbers(const char* what, std::int64_t count) {
    requireCells(count);
    std::vector<float> numbers(static_cast<std::size_t>(count));
    readCells(what, numbers.data(), count);
    return numbers;
  }

  mp::matrix anyMatrix(const char* what) {
    const auto rows = within<std::int64_t>("matrix rows", 0, kMostItems);
    const auto columns = within<std::int64_t>("matrix columns", 0, kMostItems);
    return cells(what, rows, columns);
  }

  mp::matrix matrix(const char* what, std::int64_t rows, std::int64_t columns) {
    const std::size_t at = position_;
    const auto found_rows = number<std::int64_t>();
    const auto found_columns = number<std::int64_t>();
    if (found_rows != rows || found_columns != columns) {
      refuse(at, std::string(what) + " of " + sizeText(rows, columns),
             sizeText(found_rows, found_columns));
    }
    return cells(what, rows, columns);
  }

  void end() {
    char next;
    const std::size_t more = left() > 0 ? left() : file_.read(&next, 1);
    if (more != 0) refuse(position_, "the end", std::to_string(more) + " more bytes");
  }

  std::size_t position() const { return position_; }

 private:
  // Without a way out of the loop, so that the compiler makes it one of vectors.
  static bool hasOddCell(const float* cells, std::int64_t count) {
    constexpr std::uint32_t kExponent = 0x7F800000;  // All ones in what is not finite.
    bool is_odd = false;
    for (std::int64_t i = 0; i < count; ++i) {
      std::uint32_t bits;
      std::memcpy(&bits, cells + i, sizeof(bits));
      is_odd |= (bits & kExponent) == kExponent;
    }
    return is_odd;
  }

  static std::string sizeText(std::int64_t rows, std::int64_t columns) {
    return std::to_string(rows) + " by " + std::to_string(columns);
  }

  std::size_t left() const { return file_.size() - position_; }

  // Before there is memory for what a damaged file claims to hold.
  void requireLeft(std::size_t bytes) const {
    if (bytes > left()) refuseEnd(bytes, left());
  }
  void requireCells(std::int64_t count) const {
    requireLeft(static_cast<std::size_t>(count) * sizeof(float));
  }

  [[noreturn]] void refuseEnd(std::size_t bytes, std::size_t found) const {
    refuse(position_, std::to_string(bytes) + " more bytes",
           found == 0 ? "the end" : "the end after " + std::to_string(found));
  }

  void take(void* to, std::size_t bytes) {
    const std::size_t found = file_.read(to, bytes);
    if (found < bytes) refuseEnd(bytes, found);
    position_ += bytes;
  }

  mp::matrix cells(const char* what, std::int64_t rows, std::int64_t columns) {
    requireCells(rows * columns);
    mp::matrix matrix(static_cast<std::int32_t>(rows), static_cast<std::int32_t>(columns));
    askForLargePages(matrix.data, rows * columns);
    readCells(what, matrix.data, rows * columns);
    return matrix;
  }

  void readCells(const char* what, float* cells, std::int64_t count) {
    for (std::int64_t begin = 0; begin < count; begin += kPieceCells) {
      const std::size_t at = position_;
      float* const piece = cells + begin;
      const std::int64_t length = std::min(kPieceCells, count - begin);
      take(piece, static_cast<std::size_t>(length) * sizeof(float));
      if (hasOddCell(piece, length)) refuseOddCell(what, at, piece, length);
    }
  }

  [[noreturn]] void refuseOddCell(const char* what, std::size_t at, const float* cells,
                                  std::int64_t count) const {
    const float* const odd =
        std::find_if(cells, cells + count, [](float cell) { return !std::isfinite(cell); });
    refuse(at + static_cast<std::size_t>(odd - cells) * sizeof(float),
           std::string(what) + " to be finite", std::to_string(*odd));
  }

  const std::string& name_;
  ModelFile& file_;
  std::size_t position_ = 0;
};

void readStages(Reader& file, oznalib::SDMModel& model) {
  const std::size_t at = file.position();
  const std::int32_t stages = file.count("a number of stages");
  const std::size_t biases = model.stageBias.size();
  if (biases != 0 && biases != static_cast<std::size_t>(stages)) {
    file.refuse(at, "as many stages as biases, " + std::to_string(biases) + ",",
                std::to_string(stages));
  }
  for (std::int32_t i = 0; i < stages; ++i) {
    mp::pca_map map;
    map.mean = file.matrix("the mean of a stage", 1, kFeatures);
    map.projection = file.matrix("the map of a stage", kFeatures, kCoordinates);
    model.stageMaps.push_back(std::move(map));
  }
}

// The levels come before the number of which they are some.
void readLevels(Reader& file, oznalib::SDMModel& model) {
  const std::size_t at = file.position();
  const std::int32_t stage_levels = file.count("a number of blur levels");
  if (stage_levels == 0) {
    file.refuse(at, "the blur level of a stage or more", "none");
  }
  model.stageLevels.clear();
  std::int32_t highest = 0;
  for (std::int32_t i = 0; i < stage_levels; ++i) {
    model.stageLevels.push_back(file.within<std::int32_t>("a blur level", 0, kMostLevels + 2));
    highest = std::max(highest, model.stageLevels.back());
  }
  file.number<std::int32_t>();
  model.reservedFlag = file.number<std::int32_t>();
  const std::size_t levels_at = file.position();
  model.levelsPerOctave = file.within<std::int32_t>("blur levels in an octave", 1, kMostLevels);
  // Three blurred planes stand above the levels of an octave.
  if (highest >= model.levelsPerOctave + 3) {
    file.refuse(levels_at,
                "at least " + std::to_string(highest - 2) + " blur levels in an octave, since " +
                    std::to_string(highest) + " is the level of a stage,",
                std::to_string(model.levelsPerOctave));
  }
}

void readModel(Reader& file, oznalib::SDMModel& model) {
  const std::int32_t unused_matrices = file.count("a number of matrices");
  for (std::int32_t i = 0; i < unused_matrices; ++i) {
    model.auxMatrices.push_back(file.anyMatrix("a matrix"));
  }
  const std::int32_t biases = file.count("a number of biases");
  for (std::int32_t i = 0; i < biases; ++i) {
    model.stageBias.push_back(file.matrix("the bias of a stage", 1, kCoordinates));
  }
  constexpr auto kMeanNumbers = static_cast<std::int32_t>(kCoordinates);
  file.within<std::int32_t>("a number of mean coordinates", kMeanNumbers, kMeanNumbers);
  for (std::int64_t i = 0; i < kCoordinates; ++i) {
    model.meanShape.push_back(file.within<float>("a mean coordinate", kLeastPlace, kMostPlace));
  }
  model.auxValues =
      file.finiteNumbers("an unused number", file.count("a number of unused numbers"));
  readStages(file, model);
  readLevels(file, model);
  model.faceWidth = file.within<std::int32_t>("a face width", kLeastFaceWidth, kMostFaceWidth);
  file.end();
}

}  // namespace

std::unique_ptr<const oznalib::SDMModel> readLandmarkModel(const std::string& name,
                                                           ModelFile& file) {
  Reader reader(name, file);
  auto model = std::make_unique<oznalib::SDMModel>();
  readModel(reader, *model);
  if (!oznalib::canPlace68(*model)) {
    throw Error(OZNAKIT_BAD_MODEL, name +
                                       ": expected a model of 68 landmarks, found one that the "
                                       "alignment refuses.");
  }
  return model;
}

std::unique_ptr<const oznalib::SDMModel> readLandmarkModel(const std::string& name,
                                                           std::string_view bytes) {
  BytesInMemory file(bytes);
  return readLandmarkModel(name, file);
}

}  // namespace kit
