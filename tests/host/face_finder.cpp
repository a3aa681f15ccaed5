// Opening, calling and closing libozna.so. Functions are found by their symbols, as the C++ rules
// of Linux name them.

#include "tests/host/face_finder.h"

#include <dlfcn.h>

namespace host {
namespace {

using oznalib::CascadeParameter;
using oznalib::Detection;
using oznalib::Detector;
using oznalib::DetectorParams;
using oznalib::Image;
using oznalib::Status;

using Constructor = void (*)(void*);
using ParamsConstructor = void (*)(void*, const char* const&, const char* const&);
using Load = Status (*)(Detector&, const DetectorParams&);
using LoadModel = Status (*)(const std::string&, const std::string&);
using Unload = void (*)(Detector&);
using Detect = Status (*)(const Image&, const Detector&, std::vector<Detection>&,
                          const CascadeParameter&);
using Align = Status (*)(const Image&, const oznalib::Rectangle<float>&, std::vector<float>&);

}  // namespace

CascadeParameter usualParameter() { return {2.0F, 640, 0.05F, 12, 1.26F, 13}; }

template <class Function>
Function FaceFinder::symbol(const char* name) {
  void* const address = dlsym(library_, name);
  require(address != nullptr, std::string("no symbol ") + name);
  return reinterpret_cast<Function>(address);
}

FaceFinder::FaceFinder(const std::string& library, const std::string& models)
    : library_(dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (library_ == nullptr) require(false, dlerror());
  symbol<Constructor>("_ZN7oznalib8DetectorC1Ev")(detector_);

  const std::string root = models + "/";
  const char* const root_text = root.c_str();
  const char* const list = "stages.txt";
  alignas(DetectorParams) unsigned char params[sizeof(DetectorParams)];
  symbol<ParamsConstructor>("_ZN7oznalib14DetectorParamsC1ERKPKcS4_")(params, root_text, list);
  const auto load = symbol<Load>("_ZN7oznalib12loadDetectorERNS_8DetectorERKNS_14DetectorParamsE");
  require(load(reinterpret_cast<Detector&>(detector_), reinterpret_cast<DetectorParams&>(params)) ==
              oznalib::StatusOk,
          "no cascade");
  const auto load_model = symbol<LoadModel>(
      "_ZN7oznalib12loadSDMModelERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEES7_");
  require(load_model(root + "models", "face68.sdm") == oznalib::StatusOk, "no landmark model");
}

FaceFinder::~FaceFinder() {
  symbol<Unload>("_ZN7oznalib14unloadDetectorERNS_8DetectorE")(
      reinterpret_cast<Detector&>(detector_));
  symbol<Status (*)()>("_ZN7oznalib14unloadSDMModelEv")();
  require(dlclose(library_) == 0, "dlclose");
}

void FaceFinder::forgetCascade() { symbol<Constructor>("_ZN7oznalib8DetectorC1Ev")(detector_); }

std::vector<float> FaceFinder::find(const Photograph& photograph,
                                    const CascadeParameter& parameter) {
  const auto detect = symbol<Detect>(
      "_ZN7oznalib6detectERKNS_5ImageERKNS_8DetectorERSt6vectorINS_9DetectionESaIS7_EERKNS_"
      "16CascadeParameterE");
  const auto align =
      symbol<Align>("_ZN7oznalib13align68PointsERKNS_5ImageERKNS_9RectangleIfEERSt6vectorIfSaIfEE");
  const Image image = {photograph.width, photograph.height, 0, photograph.pixels.data()};
  std::vector<Detection> faces;
  require(
      detect(image, reinterpret_cast<Detector&>(detector_), faces, parameter) == oznalib::StatusOk,
      "not loaded");
  std::vector<float> numbers;
  for (const Detection& face : faces) {
    numbers.insert(numbers.end(),
                   {face.rect.left, face.rect.top, face.rect.right, face.rect.bottom, face.score});
    std::vector<float> points;
    align(image, face.rect, points);
    require(points.size() == 136, "not 68 landmarks");
    numbers.insert(numbers.end(), points.begin(), points.end());
  }
  return numbers;
}

}  // namespace host
