/// The extension _ozna: numpy arrays to oznakit.hpp and back. The package around it makes arrays of
/// what images come as, and objects of the numbers.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "oznakit.hpp"

namespace py = pybind11;

namespace {

using Pixels = py::array_t<std::uint8_t>;
using Numbers = py::array_t<float, py::array::c_style | py::array::forcecast>;
using Whole = py::array_t<std::int32_t, py::array::c_style | py::array::forcecast>;

// Of a face: box, score, turn, quality, roll, yaw, pitch, openness of both eyes, sharpness.
constexpr py::ssize_t kNumbers = 13;

// The library's view of an array, which it borrows. The package passes pixels that lie side by
// side.
oznakit::Image viewOf(const Pixels& array, std::int32_t format, std::int32_t orientation) {
  const auto kind = static_cast<oznakit::Format>(format);
  const py::ssize_t channels = array.ndim() == 3 ? array.shape(2) : 1;
  const bool grey = kind == oznakit::Format::Grey;
  if ((array.ndim() != 3 && !(array.ndim() == 2 && grey)) ||
      channels != static_cast<py::ssize_t>(oznakit::bytesPerPixel(kind))) {
    throw py::value_error("the array does not have the shape of its format");
  }
  const py::ssize_t height = array.shape(0);
  const py::ssize_t width = array.shape(1);
  constexpr py::ssize_t kLongest = std::numeric_limits<std::int32_t>::max();
  if (height > kLongest || width > kLongest) throw py::value_error("the image is too large");
  oznakit::Image image;
  image.pixels = array.data();
  image.width = static_cast<std::int32_t>(width);
  image.height = static_cast<std::int32_t>(height);
  image.row_bytes = height > 1 ? array.strides(0) : 0;  // numpy gives one row any step.
  image.format = kind;
  image.orientation = orientation;
  return image;
}

// An array of the faces' numbers, and a list with an array of points for each: one face may have
// points where another has none.
py::tuple toArrays(const std::vector<oznakit::Face>& faces) {
  const auto count = static_cast<py::ssize_t>(faces.size());
  py::array_t<float> numbers({count, kNumbers});
  py::list points;
  for (py::ssize_t i = 0; i < count; ++i) {
    const oznakit::Face& face = faces[static_cast<std::size_t>(i)];
    const std::array<float, kNumbers> row = {
        face.box.left,   face.box.top,  face.box.right,
        face.box.bottom, face.score,    static_cast<float>(face.turn),
        face.quality,    face.roll,     face.yaw,
        face.pitch,      face.left_eye, face.right_eye,
        face.sharpness};
    std::memcpy(numbers.mutable_data(i, 0), row.data(), sizeof(row));
    const auto point_count = static_cast<py::ssize_t>(face.points.size());
    py::array_t<float> places({point_count, py::ssize_t{2}});
    for (py::ssize_t k = 0; k < point_count; ++k) {
      const oznakit::Point& point = face.points[static_cast<std::size_t>(k)];
      *places.mutable_data(k, 0) = point.x;
      *places.mutable_data(k, 1) = point.y;
    }
    points.append(std::move(places));
  }
  return py::make_tuple(numbers, points);
}

oznakit::Face toFace(const Numbers& row, const Numbers& points) {
  oznakit::Face face;
  face.box = {row.at(0), row.at(1), row.at(2), row.at(3)};
  face.turn = static_cast<std::int32_t>(row.at(5));
  for (py::ssize_t k = 0; k < points.shape(0); ++k) {
    face.points.push_back({points.at(k, 0), points.at(k, 1)});
  }
  return face;
}

// Calls the function of the program, with the interpreter's lock, and looks ten times a second
// whether somebody wants to interrupt the program.
class Progress {
 public:
  explicit Progress(py::object function) : function_(std::move(function)) {}
  bool operator()(float done) {
    const auto now = std::chrono::steady_clock::now();
    const bool looks = now - last_ > std::chrono::milliseconds(100);
    if (!looks && function_.is_none()) return true;
    const py::gil_scoped_acquire locked;
    if (looks) {
      last_ = now;
      if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    }
    // A function that returns nothing does not mean to stop.
    const py::object answer = function_.is_none() ? py::none() : function_(done);
    return answer.is_none() || py::bool_(answer);
  }

 private:
  py::object function_;
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

class Finder {
 public:
  using File = std::pair<std::string, std::string>;

  Finder(std::optional<std::string> directory, const std::vector<File>& files, bool built_in,
         bool detection, bool landmarks)
      : finder_([&] {
          const py::gil_scoped_release unlocked;
          oznakit::ModelOptions options;
          options.directory = std::move(directory);
          for (const File& file : files) {
            options.files.push_back({file.first, file.second.data(), file.second.size()});
          }
          options.built_in = built_in;
          options.detection = detection;
          options.landmarks = landmarks;
          return oznakit::Finder(options);
        }()) {}

  py::tuple find(const Pixels& pixels, std::int32_t format, std::int32_t orientation,
                 std::int32_t preset, float min_face_px, double min_face_share, std::int32_t turns,
                 double margin, float least_score, std::int32_t max_faces, std::int32_t points,
                 bool details, const std::optional<py::tuple>& scan, const py::object& progress) {
    const oznakit::Image image = viewOf(pixels, format, orientation);
    oznakit::SearchOptions options;
    options.preset = static_cast<oznakit::Preset>(preset);
    options.min_face_px = min_face_px;
    options.min_face_share = min_face_share;
    options.turns = turns;
    options.margin = margin;
    options.least_score = least_score;
    options.max_faces = max_faces;
    options.landmarks = static_cast<oznakit::Landmarks>(points);
    options.details = details;
    if (scan) {
      options.scan = oznakit_scan{(*scan)[0].cast<float>(), (*scan)[1].cast<std::int32_t>(),
                                  (*scan)[2].cast<float>(), (*scan)[3].cast<std::int32_t>(),
                                  (*scan)[4].cast<float>(), (*scan)[5].cast<std::int32_t>()};
    }
    Progress caller(progress);
    options.progress = [&caller](float done) { return caller(done); };
    std::vector<oznakit::Face> faces;
    {
      const py::gil_scoped_release unlocked;
      faces = finder_.find(image, options);
    }
    return toArrays(faces);
  }

  py::tuple align(const Pixels& pixels, std::int32_t format, std::int32_t orientation,
                  const Numbers& boxes, const Whole& turns, std::int32_t points, bool details) {
    const oznakit::Image image = viewOf(pixels, format, orientation);
    std::vector<oznakit::Box> rects;
    std::vector<std::int32_t> quarters;
    for (py::ssize_t i = 0; i < boxes.shape(0); ++i) {
      rects.push_back({boxes.at(i, 0), boxes.at(i, 1), boxes.at(i, 2), boxes.at(i, 3)});
      quarters.push_back(turns.at(i));
    }
    std::vector<oznakit::Face> faces;
    {
      const py::gil_scoped_release unlocked;
      faces =
          finder_.align(image, rects, quarters, static_cast<oznakit::Landmarks>(points), details);
    }
    return toArrays(faces);
  }

  py::tuple info() const {
    const oznakit_finder_info info = finder_.info();
    return py::make_tuple(info.models, info.source, info.parts, info.stages, info.scan_width,
                          info.scan_height, info.detectors);
  }

  void trim() { finder_.trim(); }

 private:
  oznakit::Finder finder_;
};

Pixels chip(const Pixels& pixels, std::int32_t format, std::int32_t orientation, const Numbers& row,
            const Numbers& points, std::int32_t width, std::int32_t height, float padding,
            bool mirror, const std::array<std::uint8_t, 4>& colour, std::int32_t chip_format) {
  const oznakit::Image image = viewOf(pixels, format, orientation);
  const oznakit::Face face = toFace(row, points);
  oznakit::ChipOptions options;
  options.width = width;
  options.height = height;
  options.padding = padding;
  options.border = mirror ? oznakit::Border::Mirror : oznakit::Border::Colour;
  options.colour = colour;
  options.format = static_cast<oznakit::Format>(chip_format);
  oznakit::Picture picture;
  {
    const py::gil_scoped_release unlocked;
    picture = oznakit::chip(image, face, options);
  }
  const auto channels = static_cast<py::ssize_t>(oznakit::bytesPerPixel(picture.format));
  Pixels result(channels == 1 ? std::vector<py::ssize_t>{picture.height, picture.width}
                              : std::vector<py::ssize_t>{picture.height, picture.width, channels});
  std::memcpy(result.mutable_data(), picture.pixels.data(), picture.pixels.size());
  return result;
}

// What the package calls Cancelled and ModelError.
PyObject* cancelled_error = nullptr;
PyObject* model_error = nullptr;

void translate(std::exception_ptr thrown) {
  try {
    if (thrown) std::rethrow_exception(thrown);
  } catch (const oznakit::Cancelled& error) {
    PyErr_SetString(cancelled_error, error.what());
  } catch (const oznakit::Error& error) {
    PyObject* kind = PyExc_RuntimeError;
    if (error.status() == OZNAKIT_BAD_ARGUMENT) kind = PyExc_ValueError;
    if (error.status() == OZNAKIT_NO_MODEL) kind = PyExc_FileNotFoundError;
    if (error.status() == OZNAKIT_BAD_MODEL) kind = model_error;
    PyErr_SetString(kind, error.what());
  }
}

}  // namespace

PYBIND11_MODULE(_ozna, module) {
  module.doc() = "The part of the package ozna that is written in C++.";
  module.attr("version") = OZNA_VERSION;
  cancelled_error =
      PyErr_NewExceptionWithDoc("ozna.Cancelled", "A search that its progress function stopped.",
                                PyExc_RuntimeError, nullptr);
  model_error = PyErr_NewExceptionWithDoc(
      "ozna.ModelError", "A model file that is damaged or does not fit the others.",
      PyExc_ValueError, nullptr);
  if (cancelled_error == nullptr || model_error == nullptr) throw py::error_already_set();
  module.attr("Cancelled") = py::handle(cancelled_error);
  module.attr("ModelError") = py::handle(model_error);
  py::register_exception_translator(&translate);

  py::class_<Finder>(module, "Finder", "Models that have been checked.")
      .def(py::init<std::optional<std::string>, const std::vector<Finder::File>&, bool, bool,
                    bool>(),
           py::arg("directory"), py::arg("files"), py::arg("built_in"), py::arg("detection"),
           py::arg("landmarks"), "Opens and checks models.")
      .def("find", &Finder::find, py::arg("pixels").noconvert(), py::arg("format"),
           py::arg("orientation"), py::arg("preset"), py::arg("min_face_px"),
           py::arg("min_face_share"), py::arg("turns"), py::arg("margin"), py::arg("least_score"),
           py::arg("max_faces"), py::arg("points"), py::arg("details"), py::arg("scan"),
           py::arg("progress"),
           "Finds faces: an array of their numbers, and one of points for each.")
      .def("align", &Finder::align, py::arg("pixels").noconvert(), py::arg("format"),
           py::arg("orientation"), py::arg("boxes"), py::arg("turns"), py::arg("points"),
           py::arg("details"), "Places landmarks in boxes; returns what find does.")
      .def("info", &Finder::info,
           "Place and source of the models, parts, stages, largest search, detectors.")
      .def("trim", &Finder::trim, "Frees the detectors that nobody uses now.");
  module.def("chip", &chip, py::arg("pixels").noconvert(), py::arg("format"),
             py::arg("orientation"), py::arg("numbers"), py::arg("points"), py::arg("width"),
             py::arg("height"), py::arg("padding"), py::arg("mirror"), py::arg("colour"),
             py::arg("chip_format"), "Cuts one face out upright.");
}
