# Debian packages: cpack in a build directory that was configured with the prefix /usr. scripts/build_packages.sh does
# both; scripts/test_packages.sh proves the packages in a clean root.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ozna)
set(CPACK_PACKAGE_VENDOR "The Ozna developers")
# Whoever hands packages on puts an address here that is read.
set(OZNA_PACKAGE_CONTACT "The Ozna developers <developers@ozna.invalid>" CACHE STRING "Maintainer of the Debian packages")
set(CPACK_PACKAGE_CONTACT "${OZNA_PACKAGE_CONTACT}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # The first line of a component's description is its summary.
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Of all packages, since cpack asks no component. Programs that are linked with a library need that very version: before
# 1.0 any may change the interface.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/public ${PROJECT_BINARY_DIR}/kit)
set(CPACK_COMPONENTS_ALL library development models kit kit_development)

set(same_version "(= ${PROJECT_VERSION})")

set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "face detection and landmarks, the library\nFinds the faces in an image in memory and places 68 or 5 landmarks on each,\non the CPU, in the calling thread.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libozna${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/library/triggers)
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
    "face detection and landmarks, the library for applications\nFinds faces in pictures of any pixel order, places landmarks, measures pose and\nquality and cuts chips, through a C interface.")
set(CPACK_DEBIAN_KIT_PACKAGE_NAME liboznakit${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_KIT_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_KIT_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_KIT_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/library/triggers)
set(CPACK_DEBIAN_KIT_PACKAGE_RECOMMENDS ozna-models)

set(CPACK_COMPONENT_KIT_DEVELOPMENT_DESCRIPTION
    "face detection and landmarks, what applications are built with\nThe headers for C and C++, and what CMake's find_package and pkg-config read.")
set(CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_NAME liboznakit-dev)
set(CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_DEPENDS "liboznakit${PROJECT_VERSION_MAJOR} ${same_version}")
set(CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_RECOMMENDS ozna-models)

set(CPACK_COMPONENT_MODELS_DESCRIPTION
    "face detection and landmarks, the trained models\nThe photographs behind these models are for research use, and so are the\nmodels.")
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

# What Debian wants in every package: terms, and a log of changes. Beside them, for those who write applications, the
# guides and examples.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(debian ${PROJECT_SOURCE_DIR}/cmake/debian)
  set(changelog ${PROJECT_BINARY_DIR}/debian/changelog)
  configure_file(${debian}/changelog.in ${changelog} @ONLY)
  ozna_compress(${changelog})
  foreach(component ${CPACK_COMPONENTS_ALL})
    string(TOUPPER ${component} name)
    set(package ${CPACK_DEBIAN_${name}_PACKAGE_NAME})
    install(FILES ${debian}/copyright ${changelog}.gz DESTINATION share/doc/${package} COMPONENT ${component})
    if(EXISTS ${debian}/${component}/overrides)
      install(FILES ${debian}/${component}/overrides DESTINATION share/lintian/overrides RENAME ${package}
              COMPONENT ${component})
    endif()
  endforeach()
  set(docs ${PROJECT_SOURCE_DIR}/docs)
  set(documents share/doc/${CPACK_DEBIAN_KIT_DEVELOPMENT_PACKAGE_NAME})
  install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${docs}/guide.md ${docs}/integration.md ${docs}/faces.md ${docs}/landmarks.md
                ${docs}/landmarks.svg ${docs}/tuning.md ${docs}/scaling.md ${docs}/model_card.md
          DESTINATION ${documents} COMPONENT kit_development)
  install(FILES ${docs}/find_faces.cpp ${docs}/find_faces.rs DESTINATION ${documents}/examples COMPONENT kit_development)
  install(DIRECTORY ${docs}/recipes DESTINATION ${documents}/examples COMPONENT kit_development
          PATTERN "__pycache__" EXCLUDE)
  install(DIRECTORY ${docs}/viewer DESTINATION ${documents}/examples COMPONENT kit_development PATTERN "*.jpg" EXCLUDE)
endif()

include(CPack)
