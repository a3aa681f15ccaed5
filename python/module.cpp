/// The extension _ozna: numpy arrays to ozna.h and back. The package around it adds the checks of model files.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include "ozna.h"

namespace py = pybind11;

namespace {

constexpr py::ssize_t kColours = 3;

std::string shapeOf(const py::array& array) {
  std::string text = "(";
  for (py::ssize_t i = 0; i < array.ndim(); ++i) {
    text += (i > 0 ? ", " : "") + std::to_string(array.shape(i));
  }
  return text + (array.ndim() == 1 ? ",)" : ")");
}

// The library's view of an array, which it borrows. Throws where the array is not a photograph in
// 8-bit RGB, so that nothing is ever converted or copied.
oznalib::Image viewOf(const py::object& object) {
  if (!py::isinstance<py::array>(object)) {
    throw py::type_error("image must be a numpy array, not " +
                         std::string(py::str(py::type::of(object).attr("__name__"))));
  }
  const auto array = py::reinterpret_borrow<py::array>(object);
  if (!py::isinstance<py::array_t<std::uint8_t>>(array)) {
    throw py::type_error("image must have dtype uint8, not " +
                         std::string(py::str(static_cast<py::object>(array.dtype()))));
  }
  if (array.ndim() != 3 || array.shape(2) != kColours) {
    throw py::value_error("image must have the shape (height, width, 3), not " + shapeOf(array));
  }
  const py::ssize_t height = array.shape(0);
  const py::ssize_t width = array.shape(1);
  if (height == 0 || width == 0) throw py::value_error("image has no pixels: " + shapeOf(array));
  constexpr py::ssize_t kLongest = std::numeric_limits<std::int32_t>::max();
  if (height > kLongest || width > kLongest / kColours) {
    throw py::value_error("image is too large: " + shapeOf(array));
  }
  // numpy gives an axis of one entry any stride.
  const py::ssize_t row_bytes = height == 1 ? kColours * width : array.strides(0);
  if (array.strides(2) != 1 || (width > 1 && array.strides(1) != kColours) ||
      row_bytes < kColours * width || row_bytes > kLongest) {
    throw py::value_error(
        "image must hold its pixels side by side and its rows from top to bottom; "
        "numpy.ascontiguousarray(image) makes such a copy");
  }
  return {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height),
          static_cast<std::int32_t>(row_bytes), static_cast<const std::uint8_t*>(array.data())};
}

// The alignment takes rows as packed.
oznalib::Image packedViewOf(const py::object& object) {
  const oznalib::Image image = viewOf(object);
  if (image.stride != kColours * image.width) {
    throw py::value_error(
        "align needs an image without gaps between its rows; numpy.ascontiguousarray(image) makes "
        "such a copy");
  }
  return image;
}

// Hands a vector over to numpy, with its memory.
py::array_t<float> toArray(std::vector<float> numbers, py::ssize_t columns) {
  auto owned = std::make_unique<std::vector<float>>(std::move(numbers));
  const std::vector<float>* const vector = owned.get();
  const py::capsule owner(owned.release(),
                          [](void* pointer) { delete static_cast<std::vector<float>*>(pointer); });
  return py::array_t<float>({static_cast<py::ssize_t>(vector->size()) / columns, columns},
                            vector->data(), owner);
}

// A detector that lets one call in at a time, whatever the threads of the interpreter do.
class Detector {
 public:
  Detector(const std::string& root, const std::string& stage_list) {
    oznalib::Status status;
    {
      const py::gil_scoped_release unlocked;
      status = detector_.load(oznalib::DetectorParams(root.c_str(), stage_list.c_str()));
    }
    if (status != oznalib::StatusOk) {
      throw py::value_error(root + stage_list + " names no stage");
    }
  }

  py::array_t<float> detect(const py::object& object, const oznalib::CascadeParameter& parameter) {
    const oznalib::Image image = viewOf(object);
    std::vector<float> numbers;
    {
      const py::gil_scoped_release unlocked;
      const std::lock_guard<std::mutex> guard(mutex_);
      std::vector<oznalib::Detection> faces;
      oznalib::detect(image, detector_, faces, parameter);
      numbers.reserve(kNumbers * faces.size());
      for (const oznalib::Detection& face : faces) {
        for (const float number :
             {face.rect.left, face.rect.top, face.rect.right, face.rect.bottom, face.score}) {
          numbers.push_back(number);
        }
      }
    }
    return toArray(std::move(numbers), kNumbers);
  }

 private:
  static constexpr py::ssize_t kNumbers = 5;  // Of one face.
  oznalib::Detector detector_;
  std::mutex mutex_;
};

// The library has one landmark model a process, which must not change while an alignment runs.
struct LandmarkModel {
  std::shared_mutex mutex;
  bool loaded = false;
};

LandmarkModel& landmarkModel() {
  // Never destroyed: threads of the interpreter may outlive the end of the program.
  static auto* const model = new LandmarkModel;
  return *model;
}

void loadLandmarks(const std::string& directory, const std::string& file) {
  oznalib::Status status;
  {
    const py::gil_scoped_release unlocked;
    const std::unique_lock<std::shared_mutex> guard(landmarkModel().mutex);
    status = oznalib::loadSDMModel(directory, file);
    landmarkModel().loaded = status == oznalib::StatusOk;
  }
  if (status != oznalib::StatusOk) {
    throw py::value_error(directory + "/" + file + " cannot be opened");
  }
}

void unloadLandmarks() {
  const py::gil_scoped_release unlocked;
  const std::unique_lock<std::shared_mutex> guard(landmarkModel().mutex);
  oznalib::unloadSDMModel();
  landmarkModel().loaded = false;
}

py::array_t<float> align(const py::object& object, const std::array<float, 4>& box, int points) {
  if (points != 68 && points != 5) {
    throw py::value_error("points must be 68 or 5, not " + std::to_string(points));
  }
  const oznalib::Image image = packedViewOf(object);
  const oznalib::Rectangle<float> rect = {box[0], box[1], box[2], box[3]};
  std::vector<float> numbers;
  bool loaded = false;
  {
    const py::gil_scoped_release unlocked;
    const std::shared_lock<std::shared_mutex> guard(landmarkModel().mutex);
    loaded = landmarkModel().loaded;
    if (loaded && points == 68) oznalib::align68Points(image, rect, numbers);
    if (loaded && points == 5) oznalib::align5Points(image, rect, numbers);
  }
  if (!loaded) throw std::runtime_error("no landmark model is loaded: call load_landmarks first");
  return toArray(std::move(numbers), 2);
}

}  // namespace

PYBIND11_MODULE(_ozna, module) {
  module.doc() = "The part of the package ozna that is written in C++.";
  module.attr("version") = OZNA_VERSION;

  py::class_<Detector>(module, "Detector", "A loaded cascade.")
      .def(py::init<const std::string&, const std::string&>(), py::arg("root"),
           py::arg("stage_list"), "Loads the cascade of a directory, whose name ends in '/'.")
      .def(
          "detect",
          [](Detector& self, const py::object& image, float max_upscale,
             std::int32_t max_image_side, float min_face_fraction, std::int32_t pyramid_levels,
             float pyramid_factor, std::int32_t window_size) {
            return self.detect(image, {max_upscale, max_image_side, min_face_fraction,
                                       pyramid_levels, pyramid_factor, window_size});
          },
          py::arg("image"), py::arg("max_upscale"), py::arg("max_image_side"),
          py::arg("min_face_fraction"), py::arg("pyramid_levels"), py::arg("pyramid_factor"),
          py::arg("window_size"),
          "Finds faces: an array (n, 5) of left, top, right, bottom, score.");

  module.def("load_landmarks", &loadLandmarks, py::arg("directory"), py::arg("file"),
             "Loads the landmark model of the process.");
  module.def("unload_landmarks", &unloadLandmarks, "Drops the landmark model of the process.");
  module.def(
      "align",
      [](const py::object& image, float left, float top, float right, float bottom, int points) {
        return align(image, {left, top, right, bottom}, points);
      },
      py::arg("image"), py::arg("left"), py::arg("top"), py::arg("right"), py::arg("bottom"),
      py::arg("points"), "Places landmarks: an array (points, 2) of x, y.");
}
