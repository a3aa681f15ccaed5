/// Oznakit for C++17: the C interface of oznakit.h with owners, values and exceptions. Header-only.
///
///     const oznakit::Finder finder;  // The models that come with the library.
///     oznakit::Image image;
///     image.pixels = pixels;
///     image.width = width;
///     image.height = height;
///     image.format = oznakit::Format::Bgra;
///     oznakit::SearchOptions options;
///     options.preset = oznakit::Preset::Thorough;
///     options.landmarks = oznakit::Landmarks::All68;
///     options.details = true;
///     options.progress = [&](float done) { bar.show(done); return !bar.cancelled(); };
///     try {
///       for (const oznakit::Face& face : finder.find(image, options)) {
///         draw(face.box, face.points);
///         if (face.quality > 0.5F) show(oznakit::chip(image, face));
///       }
///     } catch (const oznakit::Cancelled&) {
///     } catch (const oznakit::Error& error) {
///       report(error.what());  // A sentence.
///     }
///
/// Errors. A call that fails throws: Cancelled where the progress function asked for the end, Error
/// with status and sentence otherwise, std::bad_alloc where the memory ran out. Exceptions, and not
/// results to be looked at, since an owner's constructor has no result, the containers below throw
/// std::bad_alloc anyway, and few callers can do more with a failure than hand it on. Who builds
/// without exceptions calls oznakit.h. What a progress function throws stops the search and leaves
/// find as it was thrown; it does not pass through the library.
///
/// Threads. Any number may use one Finder at once. Values belong to who holds them.
///
/// Coordinates, units and the meaning of each number are those of oznakit.h.

#ifndef OZNAKIT_HPP_
#define OZNAKIT_HPP_

#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "oznakit.h"

namespace oznakit {

/// A call that failed. what() is a sentence in UTF-8.
class Error : public std::runtime_error {
 public:
  Error(oznakit_status status, const std::string& sentence)
      : std::runtime_error(sentence), status_(status) {}
  /// OZNAKIT_BAD_MODEL and so on.
  oznakit_status status() const noexcept { return status_; }

 private:
  oznakit_status status_;
};

/// A search that its progress function stopped.
class Cancelled : public Error {
 public:
  using Error::Error;
};

/// Throws what a status other than OZNAKIT_OK means. In the thread of the call that gave it.
inline void check(oznakit_status status) {
  if (status == OZNAKIT_OK) return;
  if (status == OZNAKIT_NO_MEMORY) throw std::bad_alloc();
  if (status == OZNAKIT_CANCELLED) throw Cancelled(status, oznakit_last_message());
  throw Error(status, oznakit_last_message());
}

/// Version of the library that runs, as OZNAKIT_VERSION.
inline std::int32_t version() { return oznakit_version(); }

// ---- Pictures -----------------------------------------------------------------------------------

/// Order of the 8-bit channels of a pixel in memory.
enum class Format : std::int32_t {
  Rgb = OZNAKIT_RGB,
  Bgr = OZNAKIT_BGR,
  Rgba = OZNAKIT_RGBA,
  Bgra = OZNAKIT_BGRA,
  Argb = OZNAKIT_ARGB,
  Grey = OZNAKIT_GREY
};

/// Bytes of a pixel.
constexpr std::size_t bytesPerPixel(Format format) {
  return format == Format::Grey ? 1 : format == Format::Rgb || format == Format::Bgr ? 3 : 4;
}

/// Pixels of the host, borrowed for the calls that get them. The fields are those of oznakit_image.
struct Image {
  const void* pixels = nullptr;  ///< First byte of the top row.
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::ptrdiff_t row_bytes = 0;  ///< 0: rows without gaps. Negative: bottom up.
  Format format = Format::Rgb;
  std::int32_t orientation = 1;  ///< As in Exif.
};

/// Pixels of our own: rows without gaps, from top to bottom.
struct Picture {
  std::int32_t width = 0;
  std::int32_t height = 0;
  Format format = Format::Rgb;
  std::vector<std::uint8_t> pixels;

  std::size_t rowBytes() const { return static_cast<std::size_t>(width) * bytesPerPixel(format); }
};

// ---- Faces --------------------------------------------------------------------------------------

struct Point {
  float x = 0;
  float y = 0;
};

/// Right and bottom are edges.
struct Box {
  float left = 0;
  float top = 0;
  float right = 0;
  float bottom = 0;

  float width() const { return right - left; }
  float height() const { return bottom - top; }
};

/// Up to 68 points, without memory of their own. std::span of C++20 takes them as they are.
class Points {
 public:
  const Point* data() const { return points_.data(); }
  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  const Point* begin() const { return points_.data(); }
  const Point* end() const { return points_.data() + size_; }
  /// index: below size().
  const Point& operator[](std::size_t index) const { return points_[index]; }

  /// point: left out where there are 68 already.
  void push_back(Point point) {
    if (size_ < points_.size()) points_[size_++] = point;
  }
  void clear() { size_ = 0; }

 private:
  std::array<Point, 68> points_{};
  std::size_t size_ = 0;
};

/// One face. The details are NaN where they were not asked for or cannot be known.
struct Face {
  static constexpr float kUnknown = std::numeric_limits<float>::quiet_NaN();

  Box box;
  float score = kUnknown;  ///< 0 to 1; NaN for a box that the host gave.
  std::int32_t turn = 0;   ///< Quarter turns clockwise that bring the face upright, 0 to 3.
  Points points;           ///< 68, 5 or none; for the order see oznakit_face.
  float quality = kUnknown;
  float roll = kUnknown;  ///< Degrees, as the two below.
  float yaw = kUnknown;
  float pitch = kUnknown;
  float left_eye = kUnknown;
  float right_eye = kUnknown;
  float sharpness = kUnknown;
};

/// A face as the C interface has it, and back.
inline oznakit_face toC(const Face& face) {
  oznakit_face result = OZNAKIT_FACE_INIT;
  result.left = face.box.left;
  result.top = face.box.top;
  result.right = face.box.right;
  result.bottom = face.box.bottom;
  result.score = face.score;
  result.turn = face.turn;
  result.point_count = static_cast<std::int32_t>(face.points.size());
  for (std::size_t i = 0; i < face.points.size(); ++i) {
    result.points[2 * i] = face.points[i].x;
    result.points[2 * i + 1] = face.points[i].y;
  }
  result.quality = face.quality;
  result.roll = face.roll;
  result.yaw = face.yaw;
  result.pitch = face.pitch;
  result.left_eye = face.left_eye;
  result.right_eye = face.right_eye;
  result.sharpness = face.sharpness;
  return result;
}

inline Face fromC(const oznakit_face& face) {
  Face result;
  result.box = {face.left, face.top, face.right, face.bottom};
  result.score = face.score;
  result.turn = face.turn;
  for (std::int32_t i = 0; i < face.point_count; ++i) {
    result.points.push_back({face.points[2 * i], face.points[2 * i + 1]});
  }
  result.quality = face.quality;
  result.roll = face.roll;
  result.yaw = face.yaw;
  result.pitch = face.pitch;
  result.left_eye = face.left_eye;
  result.right_eye = face.right_eye;
  result.sharpness = face.sharpness;
  return result;
}

// ---- Options ------------------------------------------------------------------------------------

/// A model file in memory, borrowed while a Finder is made.
struct File {
  std::string name;  ///< As "stages.txt" or "cascades/first/proto-full".
  const void* bytes = nullptr;
  std::size_t byte_count = 0;
};

/// Where models come from: at most one of the first three. None: see oznakit_model_options.
struct ModelOptions {
  std::optional<std::string> directory;
  std::vector<File> files;
  bool built_in = false;
  bool detection = true;
  bool landmarks = true;
};

enum class Preset : std::int32_t {
  Balanced = OZNAKIT_BALANCED,
  Fast = OZNAKIT_FAST,
  Thorough = OZNAKIT_THOROUGH
};

enum class Landmarks : std::int32_t {
  None = 0,
  All68 = OZNAKIT_WITH_POINTS_68,
  Five = OZNAKIT_WITH_POINTS_5
};

/// How to search. The fields are those of oznakit_search_options.
struct SearchOptions {
  Preset preset = Preset::Balanced;
  float min_face_px = 0;      ///< 0: by the preset.
  double min_face_share = 0;  ///< 0: by the preset.
  std::int32_t turns = 1;     ///< 1 or 4.
  double margin = OZNAKIT_MARGIN_AUTO;
  float least_score = 0;
  std::int32_t max_faces = 0;  ///< 0: all.
  Landmarks landmarks = Landmarks::None;
  bool details = false;              ///< Quality, pose, eyes, sharpness.
  std::optional<oznakit_scan> scan;  ///< For experts, in place of preset and smallest face.
  /// Gets the share that is done; returns false to stop. In the thread of the call.
  std::function<bool(float)> progress;
};

/// What a search would be. The fields are those of oznakit_plan.
struct Plan {
  std::int32_t scans = 0;
  std::int32_t working_width = 0;
  std::int32_t working_height = 0;
  float least_fraction = 0;
  std::int32_t reduction = 1;
  oznakit_scan scan = OZNAKIT_SCAN_INIT;
  double margin = 0;
};

enum class Border : std::int32_t { Colour = OZNAKIT_BORDER_COLOUR, Mirror = OZNAKIT_BORDER_MIRROR };

/// How to cut a face out. The fields are those of oznakit_chip_options.
struct ChipOptions {
  std::int32_t width = 256;
  std::int32_t height = 256;
  float padding = 0;
  Border border = Border::Colour;
  std::array<std::uint8_t, 4> colour{0, 0, 0, 255};  ///< Red, green, blue, alpha.
  Format format = Format::Rgb;
};

// ---- What the classes below are made of ---------------------------------------------------------

namespace detail {

inline oznakit_image toC(const Image& image) {
  oznakit_image result = OZNAKIT_IMAGE_INIT;
  result.pixels = image.pixels;
  result.width = image.width;
  result.height = image.height;
  result.row_bytes = image.row_bytes;
  result.format = static_cast<std::int32_t>(image.format);
  result.orientation = image.orientation;
  return result;
}

inline std::int32_t wanted(Landmarks landmarks, bool details) {
  return static_cast<std::int32_t>(landmarks) | (details ? OZNAKIT_WITH_DETAILS : 0);
}

inline oznakit_search_options toC(const SearchOptions& options) {
  oznakit_search_options search = OZNAKIT_SEARCH_OPTIONS_INIT;
  search.preset = static_cast<std::int32_t>(options.preset);
  search.min_face_px = options.min_face_px;
  search.min_face_share = options.min_face_share;
  search.turns = options.turns;
  search.margin = options.margin;
  search.least_score = options.least_score;
  search.max_faces = options.max_faces;
  search.with = wanted(options.landmarks, options.details);
  search.scan = options.scan ? &*options.scan : nullptr;
  return search;
}

// Takes a list over, frees it and gives its faces.
inline std::vector<Face> take(oznakit_faces* list) {
  const std::unique_ptr<oznakit_faces, void (*)(oznakit_faces*)> owner(list, &oznakit_faces_free);
  const std::int32_t count = oznakit_faces_count(list);
  std::vector<Face> faces;
  faces.reserve(static_cast<std::size_t>(count));
  for (std::int32_t i = 0; i < count; ++i) {
    oznakit_face face = OZNAKIT_FACE_INIT;
    check(oznakit_faces_get(list, i, &face));
    faces.push_back(fromC(face));
  }
  return faces;
}

// A progress function and what it threw, since no exception may pass through the library.
struct Watch {
  const std::function<bool(float)>* progress = nullptr;
  std::exception_ptr thrown;
};

inline std::int32_t report(float done, void* context) noexcept {
  Watch& watch = *static_cast<Watch*>(context);
  try {
    return (*watch.progress)(done) ? 1 : 0;
  } catch (...) {
    watch.thrown = std::current_exception();
    return 0;
  }
}

}  // namespace detail

// ---- The finder ---------------------------------------------------------------------------------

/// Checked models, and as many detectors as were used at the same time. Moves, does not copy.
class Finder {
 public:
  /// Opens and checks models. Throws Error: OZNAKIT_NO_MODEL, OZNAKIT_BAD_MODEL,
  /// OZNAKIT_BAD_ARGUMENT.
  explicit Finder(const ModelOptions& options = {}) {
    std::vector<oznakit_file> files;
    for (const File& file : options.files) {
      files.push_back({file.name.c_str(), file.bytes, file.byte_count});
    }
    oznakit_model_options models = OZNAKIT_MODEL_OPTIONS_INIT;
    models.directory = options.directory ? options.directory->c_str() : nullptr;
    models.files = files.empty() ? nullptr : files.data();
    models.file_count = files.size();
    models.built_in = options.built_in ? 1 : 0;
    models.parts =
        (options.detection ? OZNAKIT_DETECTION : 0) | (options.landmarks ? OZNAKIT_LANDMARKS : 0);
    if (models.parts == 0) {
      throw Error(OZNAKIT_BAD_ARGUMENT, "Expected detection, landmarks or both, found neither.");
    }
    oznakit_finder* finder = nullptr;
    check(oznakit_finder_open(&models, &finder));
    handle_.reset(finder);
  }

  /// Of a directory.
  explicit Finder(std::string directory) : Finder(ofDirectory(std::move(directory))) {}

  /// The faces of an image, best score first. Throws Error, Cancelled, and what progress threw.
  std::vector<Face> find(const Image& image, const SearchOptions& options = {}) const {
    detail::Watch watch;
    oznakit_search_options search = detail::toC(options);
    if (options.progress) {
      watch.progress = &options.progress;
      search.progress = &detail::report;
      search.context = &watch;
    }
    const oznakit_image pixels = detail::toC(image);
    oznakit_faces* faces = nullptr;
    const oznakit_status status = oznakit_finder_find(handle_.get(), &pixels, &search, &faces);
    std::vector<Face> found;
    if (status == OZNAKIT_OK) found = detail::take(faces);
    if (watch.thrown) std::rethrow_exception(watch.thrown);
    check(status);
    return found;
  }

  /// What a search of an image of that size would be; options.progress is not called. Throws Error.
  Plan plan(std::int32_t width, std::int32_t height, const SearchOptions& options = {}) const {
    const oznakit_search_options search = detail::toC(options);
    oznakit_plan plan = OZNAKIT_PLAN_INIT;
    check(oznakit_finder_plan(handle_.get(), width, height, &search, &plan));
    return {plan.scans,     plan.working_width, plan.working_height, plan.least_fraction,
            plan.reduction, plan.scan,          plan.margin};
  }

  /// Landmarks in boxes that the host knows, in their order.
  ///
  /// turns  Quarter turns of each, as in Face; empty where all are upright.
  std::vector<Face> align(const Image& image, const std::vector<Box>& boxes,
                          const std::vector<std::int32_t>& turns = {},
                          Landmarks landmarks = Landmarks::All68, bool details = false) const {
    if (!turns.empty() && turns.size() != boxes.size()) {
      throw Error(OZNAKIT_BAD_ARGUMENT, "Expected as many turns as boxes, " +
                                            std::to_string(boxes.size()) + ", or none, found " +
                                            std::to_string(turns.size()) + ".");
    }
    std::vector<float> edges;
    edges.reserve(4 * boxes.size());
    for (const Box& box : boxes) {
      for (const float edge : {box.left, box.top, box.right, box.bottom}) edges.push_back(edge);
    }
    if (boxes.empty()) return {};
    const oznakit_image pixels = detail::toC(image);
    oznakit_faces* faces = nullptr;
    check(oznakit_finder_align(
        handle_.get(), &pixels, edges.data(), turns.empty() ? nullptr : turns.data(),
        static_cast<std::int32_t>(boxes.size()), detail::wanted(landmarks, details), &faces));
    return detail::take(faces);
  }

  /// The same faces with landmarks; scores stay.
  std::vector<Face> align(const Image& image, const std::vector<Face>& faces,
                          Landmarks landmarks = Landmarks::All68, bool details = false) const {
    std::vector<Box> boxes;
    std::vector<std::int32_t> turns;
    for (const Face& face : faces) {
      boxes.push_back(face.box);
      turns.push_back(face.turn);
    }
    std::vector<Face> aligned = align(image, boxes, turns, landmarks, details);
    for (std::size_t i = 0; i < aligned.size(); ++i) aligned[i].score = faces[i].score;
    return aligned;
  }

  /// What the finder holds. The texts in it live as long as the finder.
  oznakit_finder_info info() const {
    oznakit_finder_info info = OZNAKIT_FINDER_INFO_INIT;
    check(oznakit_finder_get_info(handle_.get(), &info));
    return info;
  }

  /// Names of the model files that opening has read.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (std::int32_t i = 0;; ++i) {
      const char* const name = oznakit_finder_file(handle_.get(), i);
      if (name == nullptr) return names;
      names.emplace_back(name);
    }
  }

  /// Frees the detectors that nobody uses now.
  void trim() const { check(oznakit_finder_trim(handle_.get())); }

  /// For calls of the C interface; null after a move.
  oznakit_finder* handle() const { return handle_.get(); }

 private:
  static ModelOptions ofDirectory(std::string directory) {
    ModelOptions options;
    options.directory = std::move(directory);
    return options;
  }

  struct Closer {
    void operator()(oznakit_finder* finder) const { oznakit_finder_close(finder); }
  };
  std::unique_ptr<oznakit_finder, Closer> handle_;
};

// ---- Chips --------------------------------------------------------------------------------------

/// Cuts an upright picture of one face. Throws Error: OZNAKIT_BAD_ARGUMENT.
inline Picture chip(const Image& image, const Face& face, const ChipOptions& options = {}) {
  oznakit_chip_options how = OZNAKIT_CHIP_OPTIONS_INIT;
  how.width = options.width;
  how.height = options.height;
  how.padding = options.padding;
  how.border = static_cast<std::int32_t>(options.border);
  for (std::size_t i = 0; i < options.colour.size(); ++i) how.colour[i] = options.colour[i];
  how.format = static_cast<std::int32_t>(options.format);
  Picture picture;
  constexpr std::int32_t kSmallest = 8, kLargest = 4096;  // As oznakit_chip_options has them.
  if (options.width < kSmallest || options.width > kLargest || options.height < kSmallest ||
      options.height > kLargest) {
    throw Error(OZNAKIT_BAD_ARGUMENT, "Expected a chip of 8 to 4096 pixels per side, found " +
                                          std::to_string(options.width) + " by " +
                                          std::to_string(options.height) + ".");
  }
  picture.width = options.width;
  picture.height = options.height;
  picture.format = options.format;
  picture.pixels.resize(picture.rowBytes() * static_cast<std::size_t>(picture.height));
  const oznakit_image pixels = detail::toC(image);
  const oznakit_face wanted = toC(face);
  check(oznakit_chip(&pixels, &wanted, &how, picture.pixels.data(), 0));
  return picture;
}

}  // namespace oznakit

#endif  // OZNAKIT_HPP_
