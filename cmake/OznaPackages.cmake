# Debian packages: cpack in a build directory that was configured with the prefix /usr. scripts/build_packages.sh does
# both; scripts/test_packages.sh proves the packages in a clean root.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ozna)
set(CPACK_PACKAGE_VENDOR "The Ozna developers")
set(CPACK_PACKAGE_CONTACT "The Ozna developers <ozna@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # The first line of a component's description is its summary.
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/public ${PROJECT_BINARY_DIR}/kit)
set(CPACK_COMPONENTS_ALL library development models kit kit_development)

set(same_version "(= ${PROJECT_VERSION})")

set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "face detection and landmarks, the library\nFinds the faces in an image in memory and places 68 or 5 landmarks on each,\non the CPU, in the calling thread.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libozna${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS ozna-models)

set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "face detection and landmarks, what programs are built with\nThe header, the archive, and what CMake's find_package and pkg-config read.\nPrograms that link the archive need the suggested packages too.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libozna-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libozna${PROJECT_VERSION_MAJOR} ${same_version}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS ozna-models)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS
    "libopencv-core-dev, libopencv-imgproc-dev, libprotobuf-dev, libgoogle-glog-dev, libopenblas-dev, libleveldb-dev")

set(CPACK_COMPONENT_KIT_DESCRIPTION
    "face detection and landmarks, the library for applications\nFinds faces in pictures of any pixel order, places landmarks, tells pose and\nquality and cuts chips, through a C interface.")
set(CPACK_DEBIAN_KIT_PACKAGE_NAME liboznakit${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_KIT_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_KIT_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_KIT_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_KIT_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_KIT_PACKAGE_RECOMMENDS ozna-models)

set(CPACK_COMPONENT_KIT_DEVELOPMENT_DESCRIPTION
    "face detection and landmarks, what applications are built with\nThe headers for C and C++, and what CMake's find_package and pkg-config read.")
set(CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_NAME liboznakit-dev)
set(CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_DEPENDS "liboznakit${PROJECT_VERSION_MAJOR} ${same_version}")
set(CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_RECOMMENDS ozna-models)

set(CPACK_COMPONENT_MODELS_DESCRIPTION
    "face detection and landmarks, the trained models\nThe photographs behind these models are for research use, and so are the models.")
set(CPACK_DEBIAN_MODELS_PACKAGE_NAME ozna-models)
set(CPACK_DEBIAN_MODELS_PACKAGE_SECTION science)
set(CPACK_DEBIAN_MODELS_PACKAGE_ARCHITECTURE all)

if(OZNA_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
  set(CPACK_COMPONENT_TOOLS_DESCRIPTION
      "face detection and landmarks, the program\nFinds the faces in photograph files and places landmarks on them: tables, JSON\nand annotated copies.")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ozna-tools)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "liboznakit${PROJECT_VERSION_MAJOR} ${same_version}, ozna-models ${same_version}")
endif()

if(OZNA_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION
      "face detection and landmarks, the Python module\nimport ozna: images as numpy arrays, faces and landmarks back.")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-ozna)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/python/postinst
                                                ${PROJECT_SOURCE_DIR}/cmake/debian/python/prerm)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
      "liboznakit${PROJECT_VERSION_MAJOR} ${same_version}, ozna-models ${same_version}, python3 (>= 3.11), python3 (<< 3.12), python3-numpy")
endif()

# A packaged tree tells its terms where Debian looks for them.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  foreach(component ${CPACK_COMPONENTS_ALL})
    string(TOUPPER ${component} name)
    install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright
            DESTINATION share/doc/${CPACK_DEBIAN_${name}_PACKAGE_NAME} COMPONENT ${component})
  endforeach()
endif()

include(CPack)
