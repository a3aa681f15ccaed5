# The libraries that Ozna calls. Each is a package of Debian 12; scripts/install_packages.sh names them.

find_package(Threads REQUIRED)

# Debian keeps OpenCV's CMake package in libopencv-dev, which pulls in video and window libraries that nothing
# here needs; the headers and the libraries of single modules are enough.
find_path(OPENCV_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4 REQUIRED)
foreach(module core imgproc imgcodecs)
  find_library(OPENCV_${module}_LIBRARY opencv_${module} REQUIRED)
  if(NOT TARGET opencv_${module})  # A project around this one may have found OpenCV before.
    add_library(opencv_${module} UNKNOWN IMPORTED)
    set_target_properties(opencv_${module} PROPERTIES IMPORTED_LOCATION ${OPENCV_${module}_LIBRARY}
                                                      INTERFACE_INCLUDE_DIRECTORIES ${OPENCV_INCLUDE_DIR})
  endif()
endforeach()

find_package(Protobuf 3.21 REQUIRED)
find_package(Boost 1.74 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(GLOG REQUIRED IMPORTED_TARGET libglog>=0.6)
find_package(leveldb 1.23 REQUIRED)

# FindBLAS alone may settle for a library without the C interface. OpenBLAS comes first, since the reference
# BLAS gives the same results many times slower.
set(BLA_VENDOR OpenBLAS)
find_package(BLAS QUIET)
if(NOT BLAS_FOUND)
  unset(BLA_VENDOR)
  find_package(BLAS REQUIRED)
endif()
include(CheckCXXSourceCompiles)
find_path(CBLAS_INCLUDE_DIR cblas.h PATH_SUFFIXES openblas REQUIRED)
set(CMAKE_REQUIRED_LIBRARIES BLAS::BLAS)
set(CMAKE_REQUIRED_INCLUDES ${CBLAS_INCLUDE_DIR})
check_cxx_source_compiles("
  #include <cblas.h>
  int main() {
    float a = 2, b = 3, c = 0;
    cblas_sgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, 1, 1, 1, 1, &a, 1, &b, 1, 0, &c, 1);
    return c == 6 ? 0 : 1;
  }" OZNA_HAVE_CBLAS)
unset(CMAKE_REQUIRED_LIBRARIES)
unset(CMAKE_REQUIRED_INCLUDES)
if(NOT OZNA_HAVE_CBLAS)
  message(FATAL_ERROR "A BLAS library with cblas_sgemm is needed; found ${BLAS_LIBRARIES}. "
                      "On Debian: apt-get install libopenblas-dev")
endif()

# What a program that links the archive must link besides, by the names that the linker knows.
set(OZNA_DEPENDENCY_NAMES opencv_imgproc opencv_core protobuf glog leveldb)
foreach(path ${BLAS_LIBRARIES})
  if(path MATCHES "^-")
    continue()
  endif()
  get_filename_component(name ${path} NAME_WE)
  string(REGEX REPLACE "^lib" "" name ${name})
  list(APPEND OZNA_DEPENDENCY_NAMES ${name})
endforeach()
