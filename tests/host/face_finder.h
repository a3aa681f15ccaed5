/// libozna.so as a plugin: opened by dlopen, its functions found by name.

#ifndef OZNA_TESTS_HOST_FACE_FINDER_H_
#define OZNA_TESTS_HOST_FACE_FINDER_H_

#include <cstdint>
#include <string>
#include <vector>

#include "ozna.h"

namespace host {

struct Photograph {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::vector<std::uint8_t> pixels;
};

/// Reads a PPM file; ends the process where it cannot.
Photograph readPhotograph(const std::string& path);

/// Ends the process with a message where a condition does not hold.
void require(bool holds, const std::string& what);

/// An opened library with a loaded cascade and landmark model. Whatever fails ends the process.
class FaceFinder {
 public:
  /// library  Path of libozna.so. Its symbols are seen by nobody else.
  /// models   Directory of the models.
  FaceFinder(const std::string& library, const std::string& models);
  ~FaceFinder();
  FaceFinder(const FaceFinder&) = delete;
  FaceFinder& operator=(const FaceFinder&) = delete;

  /// Finds the faces and their landmarks: for each its 4 edges, its score, its 136 coordinates.
  std::vector<float> find(const Photograph& photograph, const oznalib::CascadeParameter& parameter);

  /// Loses the cascade: what a test of a leak needs.
  void forgetCascade();

 private:
  template <class Function>
  Function symbol(const char* name);

  void* library_;
  alignas(oznalib::Detector) unsigned char detector_[sizeof(oznalib::Detector)];
};

/// Search parameters that fit the default cascade.
oznalib::CascadeParameter usualParameter();

}  // namespace host

#endif  // OZNA_TESTS_HOST_FACE_FINDER_H_
