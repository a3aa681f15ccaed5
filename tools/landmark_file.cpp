// Structure of a landmark model file.

#include "tools/landmark_file.h"

#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

#include "tools/exit_code.h"
#include "tools/input_file.h"
#include "tools/streams.h"

namespace oznatool {

const char* const kLandmarkDirectory = "models";
const char* const kLandmarkName = "face68.sdm";

namespace {

constexpr std::int64_t kCoordinates = 136;                  // x and y of 68 landmarks.
constexpr std::int64_t kFeatures = kCoordinates / 2 * 128;  // 128 descriptor values a landmark.
constexpr std::int32_t kMostItems = 1000000;  // Of any list: more is no count but damage.

struct MatrixSize {
  std::int64_t rows;
  std::int64_t columns;
  bool is(std::int64_t wanted_rows, std::int64_t wanted_columns) const {
    return rows == wanted_rows && columns == wanted_columns;
  }
};

// Reads a model file from front to end and fails where it ends too early.
class Reader {
 public:
  explicit Reader(const std::string& path) : path_(path) {
    withReason([&] { file_.emplace(path); });
    left_ = file_->size();
  }

  [[noreturn]] void fail(const std::string& reason) const {
    throw Failure(kExitModel, printable(path_) + ": " + reason);
  }
  void require(bool holds, const std::string& what) const {
    if (!holds) fail("damaged model file: " + what);
  }

  template <class T>
  T number() {
    T value;
    take(static_cast<std::int64_t>(sizeof(T)));
    size_t count = 0;
    withReason([&] { count = file_->read(reinterpret_cast<char*>(&value), sizeof(T)); });
    require(count == sizeof(T), "is cut short");
    return value;
  }
  std::int32_t count() {
    const auto value = number<std::int32_t>();
    require(value >= 0 && value <= kMostItems, "holds a count of " + std::to_string(value));
    return value;
  }
  void skip(std::int64_t bytes) {
    take(bytes);
    withReason([&] { file_->skip(bytes); });
  }
  MatrixSize matrix() {
    const auto rows = number<std::int64_t>();
    const auto columns = number<std::int64_t>();
    require(rows >= 0 && columns >= 0 && rows <= kMostItems && columns <= kMostItems,
            "holds a matrix without a sensible size");
    skip(rows * columns * static_cast<std::int64_t>(sizeof(float)));
    return {rows, columns};
  }
  std::int64_t bytesLeft() const { return left_; }

 private:
  // Tells the file where it cannot be opened or read.
  template <class Action>
  void withReason(const Action& action) const {
    try {
      action();
    } catch (const Unreadable& problem) {
      fail(std::string("model file: ") + problem.what());
    }
  }
  void take(std::int64_t bytes) {
    require(bytes <= left_, "is cut short");
    left_ -= bytes;
  }

  std::string path_;
  std::optional<InputFile> file_;
  std::int64_t left_ = 0;  // Bytes behind the read position.
};

}  // namespace

void checkLandmarkFile(const std::string& path) {
  Reader reader(path);
  const std::int32_t unused_matrices = reader.count();
  for (std::int32_t i = 0; i < unused_matrices; ++i) reader.matrix();

  const std::int32_t biases = reader.count();
  for (std::int32_t i = 0; i < biases; ++i) {
    reader.require(reader.matrix().is(1, kCoordinates), "a bias does not fit 68 landmarks");
  }

  reader.require(reader.count() == kCoordinates, "the mean shape has not 68 landmarks");
  for (std::int64_t i = 0; i < kCoordinates; ++i) {
    reader.require(std::isfinite(reader.number<float>()),
                   "the mean shape holds something that is not a number");
  }
  reader.skip(std::int64_t{reader.count()} * static_cast<std::int64_t>(sizeof(float)));

  const std::int32_t stages = reader.count();
  for (std::int32_t i = 0; i < stages; ++i) {
    reader.require(reader.matrix().is(1, kFeatures),
                   "the mean of a stage does not fit 68 landmarks");
    reader.require(reader.matrix().is(kFeatures, kCoordinates),
                   "the map of a stage does not fit 68 landmarks");
  }
  reader.require(biases == 0 || biases == stages, "has not one bias a stage");

  std::vector<std::int32_t> stage_levels(static_cast<size_t>(reader.count()));
  for (std::int32_t& level : stage_levels) level = reader.number<std::int32_t>();
  reader.skip(2 * static_cast<std::int64_t>(sizeof(std::int32_t)));
  const auto blur_levels = reader.number<std::int32_t>();
  const auto face_width = reader.number<std::int32_t>();
  reader.require(reader.bytesLeft() == 0, "goes on behind its end");

  reader.require(!stage_levels.empty(), "names no blur level");
  reader.require(blur_levels >= 1 && blur_levels <= 64, "has no sensible number of blur levels");
  for (const std::int32_t level : stage_levels) {
    // Three blurred planes stand above the levels of an octave.
    reader.require(level >= 0 && level < blur_levels + 3, "names a blur level that does not exist");
  }
  reader.require(face_width >= 1 && face_width <= 4096, "has no sensible face width");
}

}  // namespace oznatool
