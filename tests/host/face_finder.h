/// libozna.so as a plugin: opened by dlopen, its functions found by name.

#ifndef OZNA_TESTS_HOST_FACE_FINDER_H_
#define OZNA_TESTS_HOST_FACE_FINDER_H_

#include <string>
#include <vector>

#include "ozna.h"
#include "tests/host/photograph_file.h"

namespace host {

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
