# What find_package(oznakit), find_package(ozna) and pkg-config read, and the documents of an installed tree. Nothing in it holds an absolute
# path: an installed tree may be moved as a whole.

include(CMakePackageConfigHelpers)

# ozna_config_package(NAME COMPONENT EXPORT...)
function(ozna_config_package name component)
  set(directory ${CMAKE_INSTALL_LIBDIR}/cmake/${name})
  set(files ${PROJECT_BINARY_DIR}/${name}Config.cmake ${PROJECT_BINARY_DIR}/${name}ConfigVersion.cmake)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/${name}Config.cmake.in ${PROJECT_BINARY_DIR}/${name}Config.cmake
                                INSTALL_DESTINATION ${directory} PATH_VARS OZNA_INSTALL_MODELSDIR)
  # Before 1.0 every minor version may change the interface.
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/${name}ConfigVersion.cmake COMPATIBILITY SameMinorVersion)
  install(FILES ${files} DESTINATION ${directory} COMPONENT ${component})
  foreach(export ${ARGN})
    install(EXPORT ${export} NAMESPACE ${name}:: DESTINATION ${directory} COMPONENT ${component})
  endforeach()
endfunction()
ozna_config_package(ozna development oznaTargets oznaStaticTargets)
ozna_config_package(oznakit kit_development oznakitTargets)

# oznakit.pc, ozna.pc for the shared library of the core, ozna-static.pc for the archive with everything that it needs.
file(RELATIVE_PATH OZNA_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
list(TRANSFORM OZNA_DEPENDENCY_NAMES PREPEND -l OUTPUT_VARIABLE link_names)
list(JOIN link_names " " link_names)
set(OZNA_PC_NAME oznakit)
set(OZNA_PC_LIBS -loznakit)
set(OZNA_PC_CFLAGS "")
configure_file(${PROJECT_SOURCE_DIR}/cmake/ozna.pc.in ${PROJECT_BINARY_DIR}/oznakit.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/oznakit.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT kit_development)
set(OZNA_PC_NAME ozna)
set(OZNA_PC_LIBS -lozna)
set(OZNA_PC_CFLAGS "")
configure_file(${PROJECT_SOURCE_DIR}/cmake/ozna.pc.in ${PROJECT_BINARY_DIR}/ozna.pc @ONLY)
set(OZNA_PC_NAME "ozna (static)")
set(OZNA_PC_LIBS "-l:${CMAKE_STATIC_LIBRARY_PREFIX}ozna${CMAKE_STATIC_LIBRARY_SUFFIX} ${link_names} -pthread")
set(OZNA_PC_CFLAGS " -DOZNA_STATIC")
configure_file(${PROJECT_SOURCE_DIR}/cmake/ozna.pc.in ${PROJECT_BINARY_DIR}/ozna-static.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ozna.pc ${PROJECT_BINARY_DIR}/ozna-static.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
